#!/usr/bin/env bash
# Builds the libraries that read files for us as the fuzz targets link them: libtiff, FreeImage,
# TinyXML and Exiv2 from Debian's patched source packages, with AddressSanitizer, the checks of
# bounds and divisions, and libFuzzer's coverage, into <cache>/fuzzlibs. What has been built in the
# same way before is skipped.
#
# Ends with 69 when the sources cannot be had, with 1 when a library fails to build.
set -euo pipefail

scripts=$(cd "$(dirname "$0")" && pwd)
. "$scripts/source-libs.sh"
prefix=$("$scripts/cache-dir")/fuzzlibs
builds=$prefix/build

mkdir -p "$sources/src" "$builds"
exec 9>"$sources/lock"
flock 9

for package in tinyxml tiff freeimage exiv2; do unpack "$package"; done
src=$sources/src

checks=address,bounds,integer-divide-by-zero,fuzzer-no-link
flags="-g -O1 -fPIC -w -fno-omit-frame-pointer -fsanitize=$checks -fno-sanitize-recover=all"
# Assertions stay, as in Debian's libraries.
common=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_PREFIX_PATH="$prefix"
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS_RELEASE=
  -DCMAKE_CXX_FLAGS_RELEASE=)
id=$({ echo "$flags"; clang --version; } | sha256sum)

build tiff "$src/tiff" "${tiff_options[@]}"
build own "$scripts/winlibs" -DTINYXML_DIR="$src/tinyxml" -DFREEIMAGE_DIR="$src/freeimage" \
  -DFREEIMAGE_WEBP=ON
build exiv2 "$src/exiv2" -DEXIV2_BUILD_EXIV2_COMMAND=OFF -DEXIV2_BUILD_SAMPLES=OFF \
  -DEXIV2_BUILD_UNIT_TESTS=OFF -DEXIV2_ENABLE_NLS=OFF
