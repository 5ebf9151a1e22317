# vorn_build_id(VARIABLE): writes generated/linux/app/BuildId.h, a digest of the host's sources, of the version, the
# compiler and its flags, and gives the file's path. As a script (cmake -P) it makes the file.
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

set(VORN_BUILD_ID_SCRIPT ${CMAKE_CURRENT_LIST_FILE})
function(vorn_build_id variable)
  get_directory_property(options COMPILE_OPTIONS)
  # Where the sources stand makes no other build; a folder's name may have a space.
  list(FILTER options EXCLUDE REGEX "^-f[a-z]+-prefix-map=")
  string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
  set(settings "${CMAKE_PROJECT_VERSION} ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} ${CMAKE_SYSTEM_PROCESSOR} "
    "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}} ${options}")
  string(REGEX REPLACE "-f[a-z]+-prefix-map=[^ ;]*" "" settings "${settings}")
  string(REPLACE ";" " " settings "${settings}")
  set(file ${CMAKE_CURRENT_BINARY_DIR}/generated/linux/app/BuildId.h)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${VORN_HOST_ROOT}/*.h ${VORN_HOST_ROOT}/*.cpp)
  add_custom_command(
    OUTPUT ${file}
    COMMAND ${CMAKE_COMMAND} "-DROOT=${VORN_HOST_ROOT}" "-DSETTINGS=${settings}" "-DOUTPUT=${file}" -P ${VORN_BUILD_ID_SCRIPT}
    DEPENDS ${sources} ${VORN_BUILD_ID_SCRIPT}
    COMMENT "Telling this build from others"
    VERBATIM)
  set(${variable} ${file} PARENT_SCOPE)
endfunction()
