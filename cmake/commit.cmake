# Writes a header with the commit that is built, whenever that changes:
#
#   cmake -D SOURCE=FOLDER -D OUTPUT=FILE -P commit.cmake
#
# It is that of the checkout, with "-changed" behind it where files differ, or that of a source
# archive, whose commit.txt git has filled in.
file(STRINGS ${SOURCE}/cmake/commit.txt commit LIMIT_COUNT 1)
if(commit MATCHES "Format")
  find_program(GIT git)
  set(commit unknown)
  if(GIT AND EXISTS ${SOURCE}/.git)
    execute_process(COMMAND ${GIT} -C ${SOURCE} rev-parse HEAD OUTPUT_VARIABLE head
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
    execute_process(COMMAND ${GIT} -C ${SOURCE} status --porcelain --untracked-files=no
                    OUTPUT_VARIABLE changes ERROR_QUIET)
    if(NOT failed)
      set(commit ${head})
      if(changes)
        string(APPEND commit -changed)
      endif()
    endif()
  endif()
endif()
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "#define TESSARON_COMMIT \"${commit}\"\n")
