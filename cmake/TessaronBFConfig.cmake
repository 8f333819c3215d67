# Gives TessaronBF::TessaronBF. Its headers show TinyXML elements and FreeImagePlus pictures, so
# those libraries come with it.
include(CMakeFindDependencyMacro)
include(${CMAKE_CURRENT_LIST_DIR}/TessaronBFTargets.cmake)

if(WIN32)
  find_dependency(winlibs CONFIG)
  target_link_libraries(TessaronBF::TessaronBF INTERFACE
    winlibs::tinyxml winlibs::freeimageplus gdiplus)
else()
  find_path(TESSARON_TINYXML_INCLUDE_DIR tinyxml.h)
  find_path(TESSARON_FREEIMAGEPLUS_INCLUDE_DIR FreeImagePlus.h)
  target_include_directories(TessaronBF::TessaronBF SYSTEM INTERFACE
    ${TESSARON_TINYXML_INCLUDE_DIR} ${TESSARON_FREEIMAGEPLUS_INCLUDE_DIR})
  target_compile_definitions(TessaronBF::TessaronBF INTERFACE TIXML_USE_STL) # as Debian builds it
  foreach(library IN ITEMS tinyxml freeimageplus freeimage)
    find_library(TESSARON_${library}_LIBRARY ${library})
    target_link_libraries(TessaronBF::TessaronBF INTERFACE ${TESSARON_${library}_LIBRARY})
  endforeach()
  if(NOT TESSARON_TINYXML_INCLUDE_DIR OR NOT TESSARON_FREEIMAGEPLUS_INCLUDE_DIR OR
     NOT TESSARON_tinyxml_LIBRARY OR NOT TESSARON_freeimageplus_LIBRARY OR
     NOT TESSARON_freeimage_LIBRARY)
    set(TessaronBF_FOUND FALSE)
    set(TessaronBF_NOT_FOUND_MESSAGE "TessaronBF needs TinyXML and FreeImagePlus to develop with")
  endif()
endif()
