# TESSARON_RUNTIME: the DLLs of the compiler's runtime on Windows, which TessaronBF.dll and the programs
# that use it have to share: otherwise neither exceptions (in 32-bit programs) nor comparisons of
# std::error_code work between them.
set(TESSARON_RUNTIME)
if(WIN32)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(unwinder libgcc_s_seh-1.dll)
  else()
    set(unwinder libgcc_s_dw2-1.dll)
  endif()
  foreach(name IN ITEMS ${unwinder} libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
                    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "the compiler has no ${name}")
    endif()
    # Debug symbols are nine tenths of them.
    set(stripped ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name})
    file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    execute_process(COMMAND ${CMAKE_STRIP} --strip-unneeded -o ${stripped} ${file} COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND TESSARON_RUNTIME ${stripped})
  endforeach()
endif()
