# Every target works on a fresh Debian 12: it installs missing packages first.

PREFIX ?= /usr/local
FUZZ_SECONDS ?= 20

.PHONY: help demo test test-linux test-asan test-tsan test-windows test-axe lint bench fuzz failures serve-stress format sdk \
  dist test-dist test-packages docs pictures install clean
.DEFAULT_GOAL := help

help:  ## this list
	@sed -n 's/^\([a-z-]*\):.*## /\1\t/p' $(MAKEFILE_LIST) | expand -t 16

demo:  ## build the command-line tool and show what it does
	@scripts/demo

test:  ## build and test for Linux and, under Wine, for Windows
	@scripts/test linux windows-x64 windows-x86

test-linux:  ## build and test for Linux
	@scripts/test linux

test-asan:  ## build and test for Linux with AddressSanitizer and UBSan
	@scripts/test linux-asan

test-tsan:  ## build with ThreadSanitizer and test what threads share
	@scripts/test linux-tsan

test-windows:  ## build for Windows and test under Wine
	@scripts/test windows-x64 windows-x86

test-axe:  ## check the accessibility of the pages with axe-core
	@scripts/setup linux browser
	@cmake --preset linux >/dev/null && cmake --build --preset linux
	@scripts/axe build/linux

lint:  ## check all sources with clang-format and clang-tidy; quick where nothing has changed
	@scripts/setup lint windows && scripts/winlibs.sh
	@scripts/lint

bench:  ## run the benchmarks
	@scripts/setup bench
	@cmake --preset linux >/dev/null && cmake --build --preset linux
	@for program in build/linux/bin/*_bench; do $$program || exit 1; done
	@bench/verbs_bench build/linux
	@bench/serve_bench build/linux

fuzz:  ## run every fuzz target for FUZZ_SECONDS (default 20)
	@scripts/setup fuzz
	@scripts/fuzz $(FUZZ_SECONDS)

failures:  ## let every system call of the verbs that write fail, one after the other (long)
	@scripts/setup linux
	@cmake --preset linux >/dev/null && cmake --build --preset linux
	@FAILURES=all ctest --preset linux -R '^failures$$' --timeout 14400

serve-stress:  ## let 50 clients edit a served collection for a minute, then kill the server 50 times
	@scripts/setup linux
	@cmake --preset linux >/dev/null && cmake --build --preset linux --target tessaron
	@cd tests/tool && SERVE_STRESS=60 TESSARON=$(CURDIR)/build/linux/bin/tessaron TESSARON_SOURCE=$(CURDIR) \
	  python3 -B -m unittest -v serve_test.Stress

format:  ## format the sources
	@scripts/setup lint
	@find src tools tests bench fuzz examples -name '*.h' -o -name '*.cpp' | xargs clang-format -i

sdk:  ## pack the Windows SDK: build/windows-*/sdk/*.zip
	@scripts/setup windows && scripts/winlibs.sh
	@for target in windows-x64 windows-x86; do \
	  cmake --preset $$target >/dev/null && cmake --build --preset $$target --target package || exit 1; \
	done

dist:  ## build all packages of the current commit: dist/
	@scripts/dist

test-dist:  ## test the packages in dist/: lintian, a bare Debian, Wine, two builds with the same bytes (long)
	@scripts/setup debian bare windows
	@lintian --fail-on error dist/*.deb
	@tests/packages/sbom_test dist
	@tests/packages/install_test dist
	@tests/packages/windows_test dist
	@tests/packages/reproducible_test

test-packages:  ## build the Debian packages and use them in a bare Debian
	@scripts/setup debian bare
	@. scripts/ccache.sh && rm -rf build/packages && scripts/dist --to build/packages debian
	@lintian --fail-on error build/packages/*.deb
	@tests/packages/sbom_test build/packages
	@tests/packages/install_test build/packages

docs:  ## write the reference of the library's interface: build/docs/html
	@scripts/docs

pictures:  ## take the README's pictures anew
	@scripts/pictures

install:  ## build for Linux and install below PREFIX (default /usr/local)
	@scripts/setup linux
	@cmake --preset linux >/dev/null && cmake --build --preset linux
	@cmake --install build/linux --prefix $(PREFIX)

clean:  ## remove what was built; downloads stay in the cache
	rm -rf build
