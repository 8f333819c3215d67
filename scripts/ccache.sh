# To be sourced in the top folder: what compilers made is kept for all checkouts, unless the user has
# another launcher of compilers.
# shellcheck shell=bash
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ]; then
  CCACHE_DIR=$(scripts/cache-dir)/ccache
  export CCACHE_DIR CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_MAXSIZE=5G
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
