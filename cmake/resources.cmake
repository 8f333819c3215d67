# Converts the strings and bitmaps of src/resources: on Windows into a resource file, elsewhere the
# bitmaps into a table of bytes (the strings are compiled there directly).

set(TESSARON_BITMAPS 102 103 104)

function(tessaron_bitmap_table output)
  set(rows "")
  set(content "")
  foreach(id IN LISTS TESSARON_BITMAPS)
    set(file ${PROJECT_SOURCE_DIR}/src/resources/${id}.bmp)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND content "constexpr std::uint8_t kBitmap${id}[] = {${bytes}};\n")
    string(APPEND rows "{${id}, kBitmap${id}},")
  endforeach()
  file(CONFIGURE OUTPUT ${output} CONTENT
       "${content}constexpr BitmapResource kBitmaps[] = {${rows}};\n")
endfunction()

function(tessaron_resource_objects)
  set(generated ${PROJECT_BINARY_DIR}/generated/resources)
  set(resources ${PROJECT_SOURCE_DIR}/src/resources)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${resources}/strings.def)
  file(STRINGS ${resources}/strings.def rows REGEX "^TESSARON_STRING")
  list(TRANSFORM rows REPLACE "^TESSARON_STRING\\(([0-9]+), (.*)\\)$" "\\1, L\\2")
  list(TRANSFORM rows REPLACE "\\\\u(....)" "\\\\x\\1")
  list(JOIN rows "\n" rows)
  file(CONFIGURE OUTPUT ${generated}/strings.rc CONTENT "STRINGTABLE\nBEGIN\n${rows}\nEND\n" @ONLY)
  string(REPLACE "." "," numbers ${PROJECT_VERSION})
  file(CONFIGURE OUTPUT ${generated}/version.h CONTENT
       "#define TESSARON_VERSION_NUMBERS ${numbers},0\n#define TESSARON_VERSION_TEXT \"${PROJECT_VERSION}\"\n")

  add_library(tessaron_resources OBJECT ${resources}/tessaron.rc)
  target_include_directories(tessaron_resources PRIVATE ${PROJECT_BINARY_DIR}/generated ${resources})
  list(TRANSFORM TESSARON_BITMAPS REPLACE "(.+)" "${resources}/\\1.bmp" OUTPUT_VARIABLE bitmaps)
  set_source_files_properties(${resources}/tessaron.rc PROPERTIES OBJECT_DEPENDS
    "${bitmaps};${generated}/strings.rc;${generated}/version.h")
  set_property(GLOBAL APPEND PROPERTY TESSARON_OBJECTS $<TARGET_OBJECTS:tessaron_resources>)
endfunction()
