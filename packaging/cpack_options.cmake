# Read by CPack before each kind of package.

# The same sources give the same bytes: every file and the changelog carry the time of the last
# commit, unless SOURCE_DATE_EPOCH tells another.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git -C "${CMAKE_CURRENT_LIST_DIR}" log -1 --format=%ct
    OUTPUT_VARIABLE commit_time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT commit_time)
    string(TIMESTAMP commit_time "%s" UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} "${commit_time}")
endif()

# Archives unpack into a folder, which all of them share.
if(CPACK_GENERATOR STREQUAL "TGZ")
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
endif()
