# Read by cpack when it begins: files in the packages have the time of the changelog's newest entry,
# unless SOURCE_DATE_EPOCH names another one.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND dpkg-parsechangelog -l ${CMAKE_CURRENT_LIST_DIR}/../packaging/debian/changelog -S Timestamp
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()
