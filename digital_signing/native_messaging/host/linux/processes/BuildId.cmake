# The library build_id has generated/linux/processes/BuildId.h, a digest of the host's sources, of the version, the compiler
# and its flags: what host, vornctl, their modules and the process for keys know each other by. As a script (cmake -P) this makes the file.
if(CMAKE_SCRIPT_MODE_FILE)
  file(GLOB_RECURSE sources RELATIVE ${ROOT} ${ROOT}/*.h ${ROOT}/*.cpp)
  list(SORT sources)
  set(parts "${SETTINGS}")
  foreach(source IN LISTS sources)
    file(SHA256 ${ROOT}/${source} digest)
    string(APPEND parts "${source} ${digest}\n")
  endforeach()
  string(SHA256 id "${parts}")
  file(CONFIGURE OUTPUT ${OUTPUT} CONTENT [[
#pragma once

inline constexpr const char* kBuildId = "@id@";
]] @ONLY)
  return()
endif()

get_directory_property(options COMPILE_OPTIONS)
# Where the sources stand makes no other build; a folder's name may have a space.
list(FILTER options EXCLUDE REGEX "^-f[a-z]+-prefix-map=")
string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
set(settings "${CMAKE_PROJECT_VERSION} ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} ${CMAKE_SYSTEM_PROCESSOR} "
  "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}} ${options}")
string(REGEX REPLACE "-f[a-z]+-prefix-map=[^ ;]*" "" settings "${settings}")
string(REPLACE ";" " " settings "${settings}")
set(file ${CMAKE_CURRENT_BINARY_DIR}/generated/linux/processes/BuildId.h)
file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${VORN_HOST_ROOT}/*.h ${VORN_HOST_ROOT}/*.cpp)
add_custom_command(
  OUTPUT ${file}
  COMMAND ${CMAKE_COMMAND} "-DROOT=${VORN_HOST_ROOT}" "-DSETTINGS=${settings}" "-DOUTPUT=${file}" -P ${CMAKE_CURRENT_LIST_FILE}
  DEPENDS ${sources} ${CMAKE_CURRENT_LIST_FILE}
  COMMENT "Telling this build from others"
  VERBATIM)
add_custom_target(build_id_file DEPENDS ${file})
add_library(build_id INTERFACE)
target_include_directories(build_id INTERFACE ${CMAKE_CURRENT_BINARY_DIR}/generated)
add_dependencies(build_id build_id_file)
