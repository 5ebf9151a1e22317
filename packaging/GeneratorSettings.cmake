# Read by cpack once for each kind of package.
if(CPACK_GENERATOR STREQUAL "TGZ")
  list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build_folder)
  list(APPEND CPACK_INSTALL_CMAKE_PROJECTS ${build_folder} ${CPACK_PACKAGE_NAME} bundled /)
endif()
