# Run when the files of `package` are put in place: writes its changelog, and compresses what Debian
# wants compressed. Without name and time, compressed files are the same in every build.
set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH if given
configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog.in" "${root}/doc/${package}/changelog" @ONLY)
file(GLOB documents "${root}/doc/${package}/changelog" "${root}/man/man1/${package}*.1")
execute_process(COMMAND chmod 644 ${documents}) # whatever the sources' own mode
execute_process(COMMAND gzip --force --best --no-name ${documents} RESULT_VARIABLE failure)
if(failure)
  message(FATAL_ERROR "cannot compress ${documents}")
endif()
