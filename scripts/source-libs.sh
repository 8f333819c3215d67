# Sourced: builds static libraries from Debian's source packages, with the patches that are kept in
# scripts/winlibs. Set before: scripts, the folder of this file.
. "$scripts/private-apt.sh"
sources=$("$scripts/cache-dir")/winlibs
tiff_options=(-Dtiff-tools=OFF -Dtiff-tests=OFF -Dtiff-contrib=OFF -Dtiff-docs=OFF
  -Dcxx=OFF -Dlzma=OFF -Dzstd=OFF -Dwebp=OFF -Djbig=OFF -Dlerc=OFF -Dlibdeflate=OFF)

# unpack PACKAGE: fetches a source package and unpacks it, patched by Debian and by
# scripts/winlibs/PACKAGE-*.patch, into $sources/src/PACKAGE. Exit code 69 when it cannot be had.
unpack() {
  local dir=$sources/src/$1 fetched=$sources/fetched/$1 patches file
  mapfile -t patches < <(compgen -G "$scripts/winlibs/$1-*.patch")
  local id=
  [ ${#patches[@]} = 0 ] || id=$(cat "${patches[@]}" | sha256sum)
  [ -d "$dir" ] && [ "$(cat "$dir/.patched" 2>/dev/null)" = "$id" ] && return
  if [ -z "${indexed:-}" ]; then
    private_apt_init "$sources/apt" deb-src amd64 || exit 69
    indexed=yes
  fi
  rm -rf "$dir.new" "$fetched"
  mkdir -p "$fetched"
  (cd "$fetched" && private_apt --download-only source "$1") || exit 69
  dpkg-source -q --no-check -x "$fetched"/*.dsc "$dir.new" # apt has checked the files
  for file in "${patches[@]}"; do patch -d "$dir.new" -p1 --quiet --binary <"$file"; done
  [ -z "$id" ] || echo "$id" >"$dir.new/.patched"
  rm -rf "$dir"
  mv "$dir.new" "$dir"
  rm -rf "$fetched"
}

# build NAME SOURCE-DIR CMAKE-ARGUMENT...: builds one library in $builds and installs it into
# $prefix, unless its stamp says that this very source was built in the same way on top of the same
# libraries ($id, which goes on from library to library; it begins with what ${common[@]}, the
# arguments for every library, stands for).
build() {
  local name=$1 source=$2 dir=$builds/$1 start=$SECONDS
  shift 2
  set -- -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF "$@"
  id=$({ echo "$id" "$@"
         head -n1 "$source/debian/changelog" 2>/dev/null ||
           (cd "$source" && find . -type f -exec sha256sum {} + | sort)
         cat "$source/.patched" 2>/dev/null || true
       } | sha256sum)
  [ "$(cat "$prefix/$name.built" 2>/dev/null)" = "$id" ] && return
  rm -rf "$dir" "$prefix/$name.built"
  mkdir -p "$dir"
  if ! { cmake -G Ninja -S "$source" -B "$dir" -DCMAKE_INSTALL_PREFIX="$prefix" "${common[@]}" "$@" &&
         cmake --build "$dir" && cmake --install "$dir"; } >"$dir.log" 2>&1; then
    tail -n 40 "$dir.log" >&2
    echo "$name failed to build; all of it in $dir.log" >&2
    exit 1
  fi
  rm -rf "$dir" "$dir.log"
  echo "$id" >"$prefix/$name.built"
  echo "$name for $prefix built in $((SECONDS - start)) s"
}
