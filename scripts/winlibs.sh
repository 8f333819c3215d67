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

for package in tinyxml libjpeg-turbo libpng1.6 tiff freeimage taglib; do unpack "$package"; done
src=$winlibs/src
# Debian's TagLib takes the utf8 headers from the system, under this name; its own copy serves.
ln -sfn ../../3rdparty/utf8-cpp "$src/taglib/taglib/toolkit/utf8"

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

  # What a product that links them has to carry along, the compiler's own runtime included.
  for package in tinyxml libjpeg-turbo libpng1.6 tiff freeimage taglib; do
    install -D -m 644 "$src/$package/debian/copyright" "$prefix/share/licenses/$package.txt"
  done
  for package in libz-mingw-w64-dev gcc-mingw-w64-base mingw-w64-common; do
    install -D -m 644 "/usr/share/doc/$package/copyright" "$prefix/share/licenses/$package.txt"
  done
done
