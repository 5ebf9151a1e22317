# Gives what is newer than the last change of the sources its date, and everything the modes that it has under no umask.
execute_process(
  COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -newermt @$ENV{SOURCE_DATE_EPOCH} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_INSTALL_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
