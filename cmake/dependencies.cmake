# tessaron_deps: the libraries that the project links. Debian's packages on Linux, the static libraries
# built by scripts/winlibs.sh on Windows.

add_library(tessaron_deps INTERFACE)

if(WIN32)
  find_package(winlibs CONFIG REQUIRED) # and the libraries that FreeImage needs
  target_link_libraries(tessaron_deps INTERFACE winlibs::tinyxml winlibs::freeimageplus
                                                winlibs::tag)
  find_package(ZLIB REQUIRED)
  find_path(UTF8PROC_INCLUDE_DIR utf8proc.h REQUIRED)
  find_library(UTF8PROC_LIBRARY utf8proc REQUIRED)
  target_compile_definitions(tessaron_deps INTERFACE UTF8PROC_STATIC)
  target_link_libraries(tessaron_deps INTERFACE ZLIB::ZLIB JPEG::JPEG TIFF::TIFF ${UTF8PROC_LIBRARY}
                                                comctl32 gdiplus gdi32 ole32 oleaut32 shlwapi strmiids
                                                usp10 uuid uxtheme)
else()
  if(TESSARON_BUILD_FUZZ)
    # FreeImage, libtiff, TinyXML and Exiv2 with the sanitizers, as scripts/fuzzlibs.sh builds them.
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/cache-dir
                    OUTPUT_VARIABLE cache OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(PREPEND CMAKE_PREFIX_PATH ${cache}/fuzzlibs)
    find_package(PNG REQUIRED)
    find_library(EXIV2_XMP_LIBRARY exiv2-xmp REQUIRED)
    find_package(EXPAT REQUIRED)
    set(instrumented webp webpmux webpdemux PNG::PNG)
    set(instrumented_exif ${EXIV2_XMP_LIBRARY} EXPAT::EXPAT)
  endif()
  find_package(ICU REQUIRED COMPONENTS i18n uc)
  find_package(JPEG REQUIRED)
  find_package(SQLite3 REQUIRED)
  find_package(TIFF REQUIRED) # used by FreeImage; linked to silence its messages
  find_package(ZLIB REQUIRED)
  find_path(TINYXML_INCLUDE_DIR tinyxml.h REQUIRED)
  find_library(TINYXML_LIBRARY tinyxml REQUIRED)
  find_path(FREEIMAGEPLUS_INCLUDE_DIR FreeImagePlus.h REQUIRED)
  find_library(FREEIMAGE_LIBRARY freeimage REQUIRED)
  find_library(FREEIMAGEPLUS_LIBRARY freeimageplus REQUIRED)
  find_path(AVFORMAT_INCLUDE_DIR libavformat/avformat.h REQUIRED) # loaded on first use
  find_path(EXIV2_INCLUDE_DIR exiv2/exif.hpp REQUIRED) # used by a separate module only
  find_library(EXIV2_LIBRARY exiv2 REQUIRED)
  find_path(POPPLER_INCLUDE_DIR poppler/cpp/poppler-document.h REQUIRED) # likewise
  find_library(POPPLER_LIBRARY poppler-cpp REQUIRED)
  find_path(TAGLIB_INCLUDE_DIR taglib/tiostream.h REQUIRED)
  find_library(TAGLIB_LIBRARY tag REQUIRED)
  find_path(SECCOMP_INCLUDE_DIR seccomp.h REQUIRED)
  find_library(SECCOMP_LIBRARY seccomp REQUIRED)
  target_compile_definitions(tessaron_deps INTERFACE TIXML_USE_STL) # as Debian builds it
  target_include_directories(tessaron_deps SYSTEM INTERFACE ${TINYXML_INCLUDE_DIR}
                                                            ${FREEIMAGEPLUS_INCLUDE_DIR}
                                                            ${AVFORMAT_INCLUDE_DIR}
                                                            ${TAGLIB_INCLUDE_DIR}
                                                            ${SECCOMP_INCLUDE_DIR})
  target_link_libraries(tessaron_deps INTERFACE ${TINYXML_LIBRARY} ${FREEIMAGEPLUS_LIBRARY}
                                                ${FREEIMAGE_LIBRARY} ${TAGLIB_LIBRARY}
                                                ${SECCOMP_LIBRARY} TIFF::TIFF ${instrumented} JPEG::JPEG
                                                ICU::i18n ICU::uc SQLite::SQLite3
                                                ZLIB::ZLIB)
endif()

# tessaron_warnings: the options that all our code is compiled and linked with.
add_library(tessaron_warnings INTERFACE)
target_compile_options(tessaron_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                                                   $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual> -Wimplicit-fallthrough -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # It warns of classes with virtual functions but no virtual destructor; the virtual tables of ours are
  # part of the interface. From 17 on it also warns of what libstdc++ 12 calls in its own algorithms.
  target_compile_options(tessaron_warnings INTERFACE -Wno-delete-non-abstract-non-virtual-dtor)
  if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 17)
    target_compile_options(tessaron_warnings INTERFACE -Wno-deprecated-declarations)
  endif()
endif()

# Hardening: a detected overflow ends the process, and addresses are random. Debug builds have no
# _FORTIFY_SOURCE, which needs optimization.
set(optimized $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
target_compile_options(tessaron_warnings INTERFACE -fstack-protector-strong)
if(WIN32)
  # Random addresses and no execution of data are flags in the header of the DLL.
  # The static library of the stack protector; the compiler by itself would link the DLL.
  target_link_libraries(tessaron_warnings INTERFACE -l:libssp.a)
  target_link_options(tessaron_warnings INTERFACE -Wl,--dynamicbase,--nxcompat
    $<$<STREQUAL:${CMAKE_SIZEOF_VOID_P},8>:-Wl,--high-entropy-va>)
else()
  check_cxx_compiler_flag(-fcf-protection TESSARON_HAS_CF_PROTECTION)
  target_compile_options(tessaron_warnings INTERFACE
    $<${optimized}:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>
    $<$<BOOL:${TESSARON_HAS_CF_PROTECTION}>:-fcf-protection>)
  target_link_options(tessaron_warnings INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

if(TESSARON_SANITIZE)
  add_library(tessaron_sanitizers INTERFACE)
  set(flags -fsanitize=${TESSARON_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(tessaron_sanitizers INTERFACE ${flags})
  target_link_options(tessaron_sanitizers INTERFACE ${flags})
  if(TESSARON_SANITIZE STREQUAL thread) # which knows no fences; Asio's mutexes order the same
    target_compile_definitions(tessaron_sanitizers INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
  target_link_libraries(tessaron_warnings INTERFACE tessaron_sanitizers)
endif()
