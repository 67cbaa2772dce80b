# One case of this folder, see CMakeLists.txt. Needs COMPILER, ROOT and SOURCE.

file(STRINGS ${SOURCE} FIRST LIMIT_COUNT 1)
if(NOT FIRST MATCHES "^// error: (.+)$")
  message(FATAL_ERROR "${SOURCE}: the first line must be `// error: REGEX`")
endif()
set(EXPECTED ${CMAKE_MATCH_1})

function(compile RESULT WORDS)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C
    ${COMPILER} -std=c++20 -fsyntax-only -I${ROOT} -I${ROOT}/tests ${ARGN} ${SOURCE}
    RESULT_VARIABLE CODE OUTPUT_VARIABLE TEXT ERROR_VARIABLE TEXT)
  set(${RESULT} ${CODE} PARENT_SCOPE)
  set(${WORDS} "${TEXT}" PARENT_SCOPE)
endfunction()

compile(CODE TEXT -DFIXED)
if(NOT CODE EQUAL 0)
  message(FATAL_ERROR "${SOURCE}: does not compile with FIXED either:\n${TEXT}")
endif()
compile(CODE TEXT)
if(CODE EQUAL 0)
  message(FATAL_ERROR "${SOURCE}: compiles, and must not")
endif()
if(NOT TEXT MATCHES "${EXPECTED}")
  message(FATAL_ERROR "${SOURCE}: fails, but not with `${EXPECTED}`:\n${TEXT}")
endif()
