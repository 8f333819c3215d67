# winlibs::tinyxml, winlibs::freeimage, winlibs::freeimageplus and winlibs::tag
include(CMakeFindDependencyMacro)
find_dependency(ZLIB)
find_dependency(JPEG)
find_dependency(PNG)
find_dependency(TIFF)
include(${CMAKE_CURRENT_LIST_DIR}/winlibs-targets.cmake)

# TagLib installs no package of its own.
if(NOT TARGET winlibs::tag)
  get_filename_component(prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
  add_library(winlibs::tag STATIC IMPORTED)
  set_target_properties(winlibs::tag PROPERTIES
    IMPORTED_LOCATION ${prefix}/lib/libtag.a
    INTERFACE_INCLUDE_DIRECTORIES ${prefix}/include
    INTERFACE_COMPILE_DEFINITIONS TAGLIB_STATIC
    INTERFACE_LINK_LIBRARIES ZLIB::ZLIB)
endif()
