#!/usr/bin/env bash
# Packs the zip for application developers, unpacks it elsewhere, builds the example application on it
# with nothing but the compiler, and drives the result.
#
#   sdk_test.sh BUILD-DIR ARCH TRIPLE EMULATOR [ARGUMENT...]
#
# With SCREENSHOTS=DIR the pictures of the screen are left there.
set -euo pipefail

build=$1 arch=$2 triple=$3
shift 3
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cpack --config "$build/CPackConfig.cmake" -B "$work/packed" >"$work/log" || { cat "$work/log"; exit 1; }
mkdir "$work/elsewhere"
(cd "$work/elsewhere" && cmake -E tar xf "$work"/packed/*.zip)
sdk=$(echo "$work"/elsewhere/*)
for needed in README.txt bin/TessaronBF.dll bin/tessaron.exe bin/libstdc++-6.dll lib/libTessaronBF.dll.a licenses/freeimage.txt \
              licenses/taglib.txt licenses/mingw-w64-common.txt; do
  [ -s "$sdk/$needed" ] || { echo "not in the zip: $needed" >&2; exit 1; }
done
# The texts of licenses are of others.
if grep -rIlF --exclude-dir=licenses -e "$root/" -e "$build" "$sdk"; then
  echo "these files name the place where they were built" >&2
  exit 1
fi

cat >"$work/toolchain.cmake" <<END
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_CXX_COMPILER $triple-g++-posix)
set(CMAKE_RC_COMPILER $triple-windres)
END
cp -r "$root/examples/statusbar" "$work/example"
cmake -G Ninja -S "$work/example" -B "$work/example/build" -DCMAKE_PREFIX_PATH="$sdk" \
  -DCMAKE_TOOLCHAIN_FILE="$work/toolchain.cmake" -DCMAKE_BUILD_TYPE=Release >"$work/log" ||
  { cat "$work/log"; exit 1; }
cmake --build "$work/example/build"

driver=$build/bin/statusbar_driver.exe
"$@" "$driver" "Z:$work/example/build/statusbar.exe"
[ "$arch" = x64 ] || exit 0
pictures=${SCREENSHOTS:-$work}
"$root/scripts/wine/run" x64-screen "$driver" "Z:$work/example/build/statusbar.exe" "Z:$pictures"
