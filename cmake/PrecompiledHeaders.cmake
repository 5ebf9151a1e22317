# The libraries' headers, read once for a folder's targets. For the builds with tests alone: those without read every header
# where it is named, and find one that is not.

# precompiled_headers(NAME FLAG HEADERS...): NAME, for targets that are compiled with FLAG, -fPIC or -fPIE, and with the
# folder's other flags.
function(precompiled_headers name flag)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp "")
  add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(${name} PRIVATE ${flag} -pthread)
  target_link_libraries(${name} PRIVATE PkgConfig::LOG4CPLUS)
  target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()

# reuse_headers(NAME TARGETS...): the targets read what `precompiled_headers` has made.
function(reuse_headers name)
  foreach(target IN LISTS ARGN)
    target_precompile_headers(${target} REUSE_FROM ${name})
    target_compile_options(${target} PRIVATE -pthread)  # some have it of their libraries, and it is one for all
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # Of precompiled code GCC 12 no longer knows that it is the system's, and sees faults in it that are none.
      target_compile_options(${target} PRIVATE -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds)
    endif()
  endforeach()
endfunction()

set(VORN_COMMON_HEADERS
  <algorithm> <filesystem> <fstream> <functional> <map> <memory> <optional> <set> <span> <sstream> <string> <string_view> <vector>)
