#!/usr/bin/env bash
# Builds the static libraries that the Windows targets link, from Debian's patched source packages,
# into <cache>/winlibs/<triple>. What has been built in the same way before is skipped.
#
#   scripts/winlibs.sh [triple...]     both triples when none is given
#
# Ends with 69 when the sources cannot be had, with 1 when a library fails to build.
set -euo pipefail

scripts=$(cd "$(dirname "$0")" && pwd)
. "$scripts/private-apt.sh"
toolchain=$scripts/../cmake/mingw.cmake
winlibs=$("$scripts/cache-dir")/winlibs
[ $# -gt 0 ] || set -- x86_64-w64-mingw32 i686-w64-mingw32

mkdir -p "$winlibs/src"
exec 9>"$winlibs/lock"
flock 9

# unpack PACKAGE: fetches a source package and unpacks it, patched, into $winlibs/src/PACKAGE.
unpack() {
  local dir=$winlibs/src/$1 fetched=$winlibs/fetched/$1
  [ -d "$dir" ] && return
  if [ -z "${indexed:-}" ]; then
    private_apt_init "$winlibs/apt" deb-src amd64 || exit 69
    indexed=yes
  fi
  rm -rf "$dir.new" "$fetched"
  mkdir -p "$fetched"
  (cd "$fetched" && private_apt --download-only source "$1") || exit 69
  dpkg-source -q --no-check -x "$fetched"/*.dsc "$dir.new" # apt has checked the files
  mv "$dir.new" "$dir"
  rm -rf "$fetched"
}

# build NAME SOURCE-DIR CMAKE-ARGUMENT...: builds and installs one library for $triple, unless its
# stamp says that this very source was built in the same way on top of the same libraries ($id, which
# goes on from library to library).
build() {
  local name=$1 source=$2 dir=$winlibs/build/$triple-$1 start=$SECONDS
  shift 2
  set -- -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF "$@"
  id=$({ echo "$id" "$@"
         head -n1 "$source/debian/changelog" 2>/dev/null ||
           (cd "$source" && find . -type f -exec sha256sum {} + | sort)
       } | sha256sum)
  [ "$(cat "$prefix/$name.built" 2>/dev/null)" = "$id" ] && return
  rm -rf "$dir" "$prefix/$name.built"
  mkdir -p "$dir"
  if ! { cmake -G Ninja -S "$source" -B "$dir" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
           -DMINGW_TRIPLE="$triple" -DWINLIBS="$winlibs" -DCMAKE_INSTALL_PREFIX="$prefix" "$@" &&
         cmake --build "$dir" && cmake --install "$dir"; } >"$dir.log" 2>&1; then
    tail -n 40 "$dir.log" >&2
    echo "winlibs: $name failed for $triple; all of it in $dir.log" >&2
    exit 1
  fi
  rm -rf "$dir" "$dir.log"
  echo "$id" >"$prefix/$name.built"
  echo "winlibs: $name for $triple built in $((SECONDS - start)) s"
}

for package in tinyxml libjpeg-turbo libpng1.6 tiff freeimage taglib; do unpack "$package"; done
src=$winlibs/src
# Debian's TagLib takes the utf8 headers from the system, under this name; its own copy serves.
ln -sfn ../../3rdparty/utf8-cpp "$src/taglib/taglib/toolkit/utf8"

for triple; do
  prefix=$winlibs/$triple
  id=$({ cat "$toolchain"; "$triple-g++-posix" --version; } | sha256sum)
  # zlib is there as a package; only its static half is copied, so that no DLL is linked.
  mkdir -p "$prefix"/{include,lib}
  cp -u "/usr/$triple"/include/{zlib,zconf}.h "$prefix/include"
  cp -u "/usr/$triple/lib/libz.a" "$prefix/lib"

  build jpeg "$src/libjpeg-turbo" -DENABLE_SHARED=OFF -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF
  build png "$src/libpng1.6" -DPNG_SHARED=OFF -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF
  build tiff "$src/tiff" -Dtiff-tools=OFF -Dtiff-tests=OFF -Dtiff-contrib=OFF -Dtiff-docs=OFF \
    -Dcxx=OFF -Dlzma=OFF -Dzstd=OFF -Dwebp=OFF -Djbig=OFF -Dlerc=OFF -Dlibdeflate=OFF
  build taglib "$src/taglib" -DBUILD_BINDINGS=OFF
  build own "$scripts/winlibs" -DTINYXML_DIR="$src/tinyxml" -DFREEIMAGE_DIR="$src/freeimage"
  build googletest /usr/src/googletest -Dgtest_disable_pthreads=ON

  # What a product that links them has to carry along, the compiler's own runtime included.
  for package in tinyxml libjpeg-turbo libpng1.6 tiff freeimage taglib; do
    install -D -m 644 "$src/$package/debian/copyright" "$prefix/share/licenses/$package.txt"
  done
  for package in libz-mingw-w64-dev gcc-mingw-w64-base mingw-w64-common; do
    install -D -m 644 "/usr/share/doc/$package/copyright" "$prefix/share/licenses/$package.txt"
  done
done
