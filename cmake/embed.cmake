# tessaron_embed_bitmaps(OUTPUT ID...): writes the files src/resources/ID.bmp into the table
# "kBitmaps", for systems whose programs have no resources.
function(tessaron_embed_bitmaps output)
  list(LENGTH ARGN count)
  set(rows "")
  set(content "")
  foreach(id IN LISTS ARGN)
    set(file ${PROJECT_SOURCE_DIR}/src/resources/${id}.bmp)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND content "constexpr std::uint8_t kBitmap${id}[] = {${bytes}};\n")
    string(APPEND rows "{${id}, kBitmap${id}},")
  endforeach()
  file(CONFIGURE OUTPUT ${output} CONTENT
    "${content}constexpr std::array<BitmapResource, ${count}> kBitmaps{{${rows}}};\n")
endfunction()
