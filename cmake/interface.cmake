# The public headers: what an application may include. They are installed in their folders below
# include/tessaron, with an umbrella tessaron.h that includes them all. Every other header is
# internal. docs/interface.md says what each is for.
#
# A public header includes public headers only, compiles alone, and declares no function that the
# library does not export; tests hold it to that.

set(TESSARON_PUBLIC_HEADERS
  tessaron_c.h
  platform/directory.h
  platform/file.h
  platform/image_list.h
  platform/picture.h
  platform/registry.h
  platform/types.h
  support/dos_date.h
  support/files.h
  support/string_table.h
  support/text.h
  support/units.h
  support/zlib.h
  support/pictures/jpeg_scale.h
  support/xml/error.h
  support/xml/xml.h
  mediainfo/codec_names.h
  mediainfo/content_info.h
  mediainfo/file_info.h
  mediainfo/folder_info.h
  mediainfo/mpeg_parser.h
  mediainfo/picture_metadata.h
  mediainfo/property_map.h
  mediainfo/riff_parser.h
  mediainfo/stream_info.h
  mediainfo/wm_metadata.h
  records/record.h
  records/record_set.h
  records/shopping_cart.h
  records/simple_record.h
  graphics/chart.h
  graphics/image_cache.h
  graphics/image_list.h
  graphics/pie_chart.h
  graphics/simple_chart.h
  themes/package.h
  themes/theme_manager.h
  themes/theme_package.h
  themes/theme_scheme.h
  settings/collation.h
  settings/config.h
  settings/module.h
  settings/reg_key.h
  settings/single_instance.h)
if(WIN32)
  list(APPEND TESSARON_PUBLIC_HEADERS
    ui/mps_bar_with_progress.h
    ui/progress_in_pane.h
    ui/status_bar.h
    ui/window.h)
endif()

# tessaron_public_headers(TARGET): makes them the target's header set, the umbrella included.
function(tessaron_public_headers target)
  set(generated ${PROJECT_BINARY_DIR}/generated)
  list(TRANSFORM TESSARON_PUBLIC_HEADERS REPLACE "(.+)" "#include \"\\1\"\n" OUTPUT_VARIABLE lines)
  string(JOIN "" lines ${lines})
  file(CONFIGURE OUTPUT ${generated}/tessaron.h @ONLY CONTENT
       "#pragma once\n// Includes the whole interface of TessaronBF.\n\n@lines@")
  list(TRANSFORM TESSARON_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/src/ OUTPUT_VARIABLE headers)
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src ${generated}
                                  FILES ${headers} ${generated}/tessaron.h
                                        ${generated}/tessaron_export.h)
  set_target_properties(${target} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()
