# The manual pages, compressed as man reads them; without a date inside.
set(folder "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${man_folder}")
file(MAKE_DIRECTORY ${folder})
foreach(page vornctl.1 vorn-signing.1)
  execute_process(COMMAND gzip -9nc ${man_sources}/${page} OUTPUT_FILE ${folder}/${page}.gz COMMAND_ERROR_IS_FATAL ANY)
endforeach()
