#!/usr/bin/env bash
# Builds the static libraries that the Windows targets link, from Debian's patched source packages,
# into <cache>/winlibs/<triple>. What has been built in the same way before is skipped.
#
#   scripts/winlibs.sh [triple...]     both triples when none is given
#
# Ends with 69 when the sources cannot be had, with 1 when a library fails to build.
set -euo pipefail

scripts=$(cd "$(dirname "$0")" && pwd)
. "$scripts/source-libs.sh"
toolchain=$scripts/../cmake/mingw.cmake
winlibs=$sources
[ $# -gt 0 ] || set -- x86_64-w64-mingw32 i686-w64-mingw32

mkdir -p "$winlibs/src"
exec 9>"$winlibs/lock"
flock 9

for package in tinyxml libjpeg-turbo libpng1.6 tiff freeimage taglib fmtlib sqlite3 utf8proc; do
  unpack "$package"
done
src=$winlibs/src
# Debian's TagLib takes the utf8 headers from the system, under this name; its own copy serves.
ln -sfn ../../3rdparty/utf8-cpp "$src/taglib/taglib/toolkit/utf8"
# SQLite as one file, which its own scripts put together.
if [ ! -e "$src/sqlite3/one/sqlite3.c" ]; then
  mkdir -p "$src/sqlite3/one"
  (cd "$src/sqlite3/one" && ../configure --disable-tcl && make sqlite3.c) >"$winlibs/sqlite3.log" 2>&1 || {
    tail -n 40 "$winlibs/sqlite3.log" >&2
    exit 1
  }
fi

for triple; do
  prefix=$winlibs/$triple
  builds=$winlibs/build/$triple
  common=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DMINGW_TRIPLE="$triple" -DWINLIBS="$winlibs")
  id=$({ cat "$toolchain"; "$triple-g++-posix" --version; } | sha256sum)
  # zlib is there as a package; only its static half is copied, so that no DLL is linked.
  mkdir -p "$prefix"/{include,lib}
  cp -u "/usr/$triple"/include/{zlib,zconf}.h "$prefix/include"
  cp -u "/usr/$triple/lib/libz.a" "$prefix/lib"

  build jpeg "$src/libjpeg-turbo" -DENABLE_SHARED=OFF -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF
  build png "$src/libpng1.6" -DPNG_SHARED=OFF -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF
  build tiff "$src/tiff" "${tiff_options[@]}"
  build taglib "$src/taglib" -DBUILD_BINDINGS=OFF
  build own "$scripts/winlibs" -DTINYXML_DIR="$src/tinyxml" -DFREEIMAGE_DIR="$src/freeimage"
  build googletest /usr/src/googletest -Dgtest_disable_pthreads=ON
  # For the tool.
  build fmt "$src/fmtlib" -DFMT_TEST=OFF -DFMT_DOC=OFF
  build utf8proc "$src/utf8proc"
  build sqlite3 "$scripts/winlibs/sqlite3" -DSQLITE_DIR="$src/sqlite3/one"
  cp -ru /usr/include/{CLI,nlohmann} "$prefix/include"  # nothing in them depends on the system

  # What a product that links them has to carry along, the compiler's own runtime included.
  for package in tinyxml libjpeg-turbo libpng1.6 tiff freeimage taglib fmtlib sqlite3 utf8proc; do
    install -D -m 644 "$src/$package/debian/copyright" "$prefix/share/licenses/$package.txt"
  done
  for package in libz-mingw-w64-dev gcc-mingw-w64-base mingw-w64-common libcli11-dev nlohmann-json3-dev; do
    install -D -m 644 "/usr/share/doc/$package/copyright" "$prefix/share/licenses/$package.txt"
  done
done
