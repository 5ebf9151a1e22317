# The changelog in Debian's form, compressed.
execute_process(
  COMMAND ${write_changelog} $ENV{SOURCE_DATE_EPOCH}
  COMMAND gzip -9nc
  OUTPUT_FILE "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${changelog}" COMMAND_ERROR_IS_FATAL ANY)
