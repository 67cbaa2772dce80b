# What every target of the project shares.

if(PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(LOAM_CCACHE ccache)
  if(LOAM_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${LOAM_CCACHE})
  endif()
endif()
if(LOAM_TIDY)
  find_program(LOAM_CLANG_TIDY NAMES clang-tidy-14 clang-tidy REQUIRED)
endif()

# Collects the files of the given folders, so that a new file needs no list to be kept.
function(loam_glob OUT PATTERN)
  set(FOUND)
  foreach(FOLDER ${ARGN})
    file(GLOB_RECURSE FILES CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
      ${CMAKE_CURRENT_SOURCE_DIR}/${FOLDER}/${PATTERN})
    list(APPEND FOUND ${FILES})
  endforeach()
  set(${OUT} ${FOUND} PARENT_SCOPE)
endfunction()

# What makes a fault harder to use against a program, where the machine has it.
include(CheckCXXCompilerFlag)
if(PROJECT_IS_TOP_LEVEL)
  check_cxx_compiler_flag(-fcf-protection LOAM_HAS_CF_PROTECTION)
endif()

function(loam_defaults TARGET)
  set_target_properties(${TARGET} PROPERTIES
    CXX_STANDARD 20
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${TARGET} PRIVATE -fno-semantic-interposition)
  if(LOAM_OPTIMISED AND ${TARGET} MATCHES "^(${LOAM_OPTIMISED})$")
    target_compile_options(${TARGET} PRIVATE -O1)
  endif()
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${TARGET} PRIVATE -Wall -Wextra -Wconversion -Wshadow
      $<$<BOOL:${LOAM_WERROR}>:-Werror>)
    if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # To g++ a source that another one includes is a header.
      target_compile_options(${TARGET} PRIVATE -Wno-subobject-linkage)
    endif()
    target_compile_definitions(${TARGET} PRIVATE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
    # In optimised builds: the others have sanitizers and checks of their own.
    target_compile_options(${TARGET} PRIVATE "$<$<NOT:$<CONFIG:Debug>>:-fstack-protector-strong;\
-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2;$<$<BOOL:${LOAM_HAS_CF_PROTECTION}>:-fcf-protection>>")
    target_link_options(${TARGET} PRIVATE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
  endif()
  # A test copies and repeats on purpose; the compilers' warnings are enough for it.
  if(LOAM_TIDY AND NOT CMAKE_CURRENT_SOURCE_DIR MATCHES "^${LoamTunnel_SOURCE_DIR}/(tests|fuzz)")
    # A changed .clang-tidy must look at every source again.
    set_target_properties(${TARGET} PROPERTIES CXX_CLANG_TIDY "${LOAM_CLANG_TIDY};--quiet")
    get_target_property(SOURCES ${TARGET} SOURCES)
    set_property(SOURCE ${SOURCES} APPEND PROPERTY OBJECT_DEPENDS ${LoamTunnel_SOURCE_DIR}/.clang-tidy)
  endif()
endfunction()
