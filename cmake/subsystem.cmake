# tessaron_subsystem(NAME SOURCE...): the objects of one folder of src/. Both the library and the test
# programs are linked from these objects, so nothing is exported for a test.
function(tessaron_subsystem name)
  add_library(tessaron_${name} OBJECT ${ARGN})
  set_target_properties(tessaron_${name} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_definitions(tessaron_${name} PRIVATE TessaronBF_EXPORTS)
  target_include_directories(tessaron_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src
                                                      ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(tessaron_${name} PRIVATE tessaron_deps tessaron_warnings)
  set_property(GLOBAL APPEND PROPERTY TESSARON_OBJECTS $<TARGET_OBJECTS:tessaron_${name}>)
endfunction()

# tessaron_use_objects(TARGET): links the objects of all subsystems into a program.
function(tessaron_use_objects target)
  get_property(objects GLOBAL PROPERTY TESSARON_OBJECTS)
  target_sources(${target} PRIVATE ${objects})
  target_compile_definitions(${target} PRIVATE TESSARON_STATIC_DEFINE)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src
                                               ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(${target} PRIVATE tessaron_deps tessaron_warnings)
  if(WIN32)
    target_link_options(${target} PRIVATE -static)
  endif()
  if(TARGET tessaron_exif)
    add_dependencies(${target} tessaron_exif tessaron_pdf)
  endif()
endfunction()
