# Copies the libraries that the programs need into their folder, each under the name by which it is looked for, with the
# licences of the packages that they come from. BUNDLE_PROGRAMS, BUNDLE_MODULES, BUNDLE_FOLDER and BUNDLE_LICENCES say what
# and where.
#
# Left to the system: what every one has (C and C++), and what its own updates have to reach - the key store's NSS and
# OpenSSL. The stand-in NoNetwork.cpp replaces libcurl.
set(of_the_system
  "^ld-linux" "^lib(c|m|dl|rt|pthread|stdc\\+\\+|gcc_s)\\.so"
  "^lib(nss3|nssutil3|smime3|ssl3|nspr4|plc4|plds4)\\.so" "^lib(crypto|ssl)\\.so")

file(GET_RUNTIME_DEPENDENCIES
  EXECUTABLES ${BUNDLE_PROGRAMS} MODULES ${BUNDLE_MODULES}
  RESOLVED_DEPENDENCIES_VAR libraries
  PRE_EXCLUDE_REGEXES ${of_the_system} "^libcurl-gnutls\\.so")

set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
file(MAKE_DIRECTORY ${root}/${BUNDLE_FOLDER} ${root}/${BUNDLE_LICENCES})
foreach(library IN LISTS libraries)
  get_filename_component(name ${library} NAME)
  message(STATUS "Bundling: ${name}")
  file(COPY_FILE ${library} ${root}/${BUNDLE_FOLDER}/${name})
  execute_process(COMMAND dpkg-query -S "*/${name}" OUTPUT_VARIABLE owner COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[:,].*" "" package "${owner}")
  file(COPY_FILE /usr/share/doc/${package}/copyright ${root}/${BUNDLE_LICENCES}/${package})
endforeach()
