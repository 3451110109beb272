# Run by CPack over the files to pack: gives all of them the time of SOURCE_DATE_EPOCH, so that a
# package does not tell when it was built.
execute_process(
  COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference
    "--date=@$ENV{SOURCE_DATE_EPOCH}" {} +
  COMMAND_ERROR_IS_FATAL ANY)
