# What every target of the project shares.

# Collects the sources of the given folders, so that a new file needs no list to be kept.
function(loam_sources OUT)
  set(FOUND)
  foreach(FOLDER ${ARGN})
    file(GLOB_RECURSE FILES CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
      ${CMAKE_CURRENT_SOURCE_DIR}/${FOLDER}/*.cpp)
    list(APPEND FOUND ${FILES})
  endforeach()
  set(${OUT} ${FOUND} PARENT_SCOPE)
endfunction()

function(loam_defaults TARGET)
  set_target_properties(${TARGET} PROPERTIES
    CXX_STANDARD 20
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${TARGET} PRIVATE -Wall -Wextra -Wconversion -Wshadow -Werror)
  endif()
endfunction()
