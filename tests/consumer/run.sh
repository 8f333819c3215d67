#!/usr/bin/env bash
# Installs what a build folder holds, moves the tree elsewhere, and builds and runs the consumer
# against it.
#
#   run.sh BUILD-DIR SYSTEM [EMULATOR...]
set -euo pipefail

build=$1 system=$2
shift 2
source=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expect() {  # expect COMMAND...: prints what a whole consumer prints
  local got
  got=$("$@" | tr -d '\r')
  if [ "$got" != "Größe 4x3 Größe A" ]; then
    echo "$1 printed: $got" >&2
    exit 1
  fi
}

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"

# The tree is found through the prefix path on Linux, through the root path where one is set.
examples=$source/../../examples/library
arguments=(-DCMAKE_PREFIX_PATH="$work/moved" -DEXAMPLES="$examples")
if [ "$system" = Windows ]; then
  read_cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
  arguments=(-DTessaronBF_DIR="$work/moved/lib/cmake/TessaronBF" -DEXAMPLES="$examples"
             -DCMAKE_TOOLCHAIN_FILE="$(read_cache CMAKE_TOOLCHAIN_FILE)"
             -DMINGW_TRIPLE="$(read_cache MINGW_TRIPLE)")
fi
cmake -G Ninja -S "$source" -B "$work/build" "${arguments[@]}" >/dev/null
cmake --build "$work/build"
check_interface() {  # check_interface LIBRARY [TOOL-PREFIX]
  python3 "$source/interface.py" "$work/build" "$work/moved/include" "$@"
}
if [ "$system" = Windows ]; then
  check_interface "$work/moved/lib/libTessaronBF.dll.a" "$(read_cache MINGW_TRIPLE)-"
  expect "$@" "$work/build/consumer.exe"
  exit
fi
check_interface "$(find "$work/moved" -name libTessaronBF.so)"
expect "$work/build/consumer"
"$work/moved/bin/tessaron" add -c "$work/shelf.xml" --title "Salt Roads" --field status=lent --field until=2020-01-01 \
  >/dev/null
if ! "$work/build/due" "$work/shelf.xml" | grep -q '^due   Salt Roads: '; then
  echo "the tutorial's program does not list what is due" >&2
  exit 1
fi
if ! readelf -d "$work/build/consumer" | grep -qF '[libTessaronBF.so.0.2]'; then
  echo "the consumer needs another library than libTessaronBF.so.0.2" >&2
  exit 1
fi

pc=$(find "$work/moved" -name tessaronbf.pc)
export PKG_CONFIG_PATH=${pc%/*}
# shellcheck disable=SC2046
g++ -std=c++20 "$source/consumer.cpp" -o "$work/by-pkg-config" \
  $(pkg-config --cflags --libs tessaronbf) -Wl,-rpath,"$(pkg-config --variable=libdir tessaronbf)"
expect "$work/by-pkg-config"

# A program in C, by every compiler that is there.
for compiler in gcc clang; do
  command -v $compiler >/dev/null || continue
  mkdir "$work/$compiler"
  # shellcheck disable=SC2046
  $compiler -std=c99 -Wall -Wextra -Wpedantic -Werror "$source/../c_interface/session.c" -o "$work/$compiler/session" \
    $(pkg-config --cflags --libs tessaronbf) -Wl,-rpath,"$(pkg-config --variable=libdir tessaronbf)"
  XDG_STATE_HOME=$work/$compiler/state "$work/$compiler/session" "$work/$compiler"
done

# The installed tool finds the library that came with it.
tool=$work/moved/bin/tessaron
"$tool" --help >/dev/null
libraries=$(ldd "$tool")
if ! grep -q "libTessaronBF.* => $work/moved/" <<<"$libraries"; then
  printf 'the installed tool uses another library:\n%s\n' "$libraries" >&2
  exit 1
fi
