# Read by cpack once for each kind of package.
set(component_TGZ bundled)
set(component_DEB debian)
list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build_folder)
list(APPEND CPACK_INSTALL_CMAKE_PROJECTS ${build_folder} ${CPACK_PACKAGE_NAME} ${component_${CPACK_GENERATOR}} /)

# The same sources give the same bytes: what is dated has the date of the last change, not of today.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git -C ${CPACK_VORN_SOURCES} log -1 --format=%ct
    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT date)
    file(TIMESTAMP ${CPACK_VORN_SOURCES}/CHANGELOG.md date "%s" UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()
