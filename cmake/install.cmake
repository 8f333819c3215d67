# Installs the library, its public headers, the tool, a CMake package and a pkg-config file. All paths
# in them are relative, so the installed tree may be moved.
include(CMakePackageConfigHelpers)

set(TESSARON_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/tessaron)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/TessaronBF)

# Headers include each other as "folder/name.h"; a consumer includes <tessaron/folder/name.h>.
target_include_directories(TessaronBF INTERFACE
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${TESSARON_INCLUDE_DIR}>)
target_compile_features(TessaronBF INTERFACE cxx_std_20)

install(TARGETS TessaronBF EXPORT TessaronBF FILE_SET HEADERS DESTINATION ${TESSARON_INCLUDE_DIR})
if(NOT WIN32)
  install(TARGETS tessaron_exif tessaron_pdf
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/TessaronBF-${TESSARON_INTERFACE_VERSION})
endif()
if(WIN32)
  # The interface has TinyXML elements and FreeImagePlus pictures, so an application links these
  # libraries, too.
  set(winlibs ${WINLIBS}/${MINGW_TRIPLE})
  install(FILES ${winlibs}/include/tinyxml.h ${winlibs}/include/FreeImage.h
                ${winlibs}/include/FreeImagePlus.h
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  foreach(library IN ITEMS tinyxml freeimageplus freeimage tiff png16 jpeg z)
    install(FILES ${winlibs}/lib/lib${library}.a DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endforeach()
  install(FILES ${TESSARON_RUNTIME} DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(TARGETS tessaron)
  install(DIRECTORY ${winlibs}/share/licenses/ DESTINATION licenses)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/sdk.txt DESTINATION . RENAME README.txt)

  string(REGEX REPLACE "^i.86$" "x86" arch ${CMAKE_SYSTEM_PROCESSOR})
  string(REPLACE "x86_64" "x64" arch ${arch})
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME TessaronBF-${PROJECT_VERSION}-windows-${arch})
  set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/sdk)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
endif()

install(EXPORT TessaronBF NAMESPACE TessaronBF:: FILE TessaronBFTargets.cmake
        DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TessaronBFConfigVersion.cmake
                                 COMPATIBILITY ${TESSARON_COMPATIBILITY})
install(FILES ${PROJECT_SOURCE_DIR}/cmake/TessaronBFConfig.cmake
              ${PROJECT_BINARY_DIR}/TessaronBFConfigVersion.cmake
        DESTINATION ${package_dir})

if(NOT WIN32)
  file(RELATIVE_PATH TESSARON_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/tessaronbf.pc.in
                 ${PROJECT_BINARY_DIR}/tessaronbf.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/tessaronbf.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

  file(RELATIVE_PATH libdir /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  # One RUNPATH for both trees: CMake pads one that it is to change later with colons, and an empty
  # entry means the current folder. Libraries of the build tree are in lib.
  set(rpath $ORIGIN/${libdir} $ORIGIN/../lib)
  list(REMOVE_DUPLICATES rpath)
  set_target_properties(tessaron PROPERTIES INSTALL_RPATH "${rpath}" BUILD_WITH_INSTALL_RPATH ON)
  install(TARGETS tessaron)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR})
  set(completions ${PROJECT_SOURCE_DIR}/tools/tessaron/completions)
  set(TESSARON_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
      CACHE STRING "The folder in which zsh looks for completions")
  install(FILES ${completions}/tessaron.bash RENAME tessaron
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${completions}/_tessaron DESTINATION ${TESSARON_ZSH_COMPLETIONS})
  install(FILES ${completions}/tessaron.fish
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
