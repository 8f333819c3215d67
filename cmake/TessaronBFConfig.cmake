# Defines TessaronBF::TessaronBF. Its headers use TinyXML elements and FreeImagePlus pictures, so it
# links those libraries as well.
include(${CMAKE_CURRENT_LIST_DIR}/TessaronBFTargets.cmake)

if(WIN32)
  # They are in the same tree with the libraries that they need, each before those that it uses.
  get_filename_component(tessaron_libraries ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
  target_compile_definitions(TessaronBF::TessaronBF INTERFACE FREEIMAGE_LIB TIXML_USE_STL)
  foreach(library IN ITEMS tinyxml freeimageplus freeimage tiff png16 jpeg z)
    target_link_libraries(TessaronBF::TessaronBF INTERFACE ${tessaron_libraries}/lib${library}.a)
  endforeach()
  target_link_libraries(TessaronBF::TessaronBF INTERFACE gdi32 gdiplus)
  # What an application ships beside it: the library and the compiler's runtime, which both share.
  file(GLOB TessaronBF_DLLS ${tessaron_libraries}/../bin/*.dll)
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
