# cmake -DPROGRAM=COMMAND -DPARSER=args.cpp -DMAN_PAGE=kavrel.1 -P check_man_page.cmake
# Fails unless the man page explains the options that the program knows and no others, and names the
# defaults that its usage text shows. The usage text leaves options out, hence the parser's source.
cmake_minimum_required(VERSION 3.18)

file(READ "${PARSER}" parser)
string(REGEX MATCHALL "\"--?[a-z][a-z-]*\"" known "${parser}")
list(TRANSFORM known REPLACE "\"" "")

file(STRINGS "${MAN_PAGE}" entries REGEX "^\\.It (Fl Fl |Fl h)" ENCODING UTF-8)
string(REGEX MATCHALL "Fl (Fl )?[a-z][a-z-]*" explained "${entries}")
list(TRANSFORM explained REPLACE "^Fl Fl " "--")
list(TRANSFORM explained REPLACE "^Fl " "-")

foreach(list IN ITEMS known explained)
  list(REMOVE_DUPLICATES ${list})
  list(SORT ${list})
endforeach()
list(LENGTH known count)
if(count LESS 13 OR NOT known STREQUAL explained)
  message(FATAL_ERROR "the program knows ${known},\nthe man page explains ${explained}")
endif()

execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE usage RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "--help ended with status ${status}")
endif()
file(READ "${MAN_PAGE}" page)
string(REGEX MATCHALL "  --[a-z-]+ [^\n]+" lines "${usage}")
foreach(line IN LISTS lines)
  string(REGEX MATCH "--([a-z-]+) (.+)" unused "${line}")
  set(option "${CMAKE_MATCH_1}")
  string(REPLACE "|" " | " value "${CMAKE_MATCH_2}")
  # The option's text ends where the next one begins.
  string(FIND "${page}" "\n.It Fl Fl ${option} " begin)
  math(EXPR begin "${begin} + 1")
  string(SUBSTRING "${page}" ${begin} -1 text)
  string(REGEX REPLACE "\n\\.(It|El).*" "" text "${text}")
  string(FIND "${text}" "${value}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "the man page does not say '${value}' at --${option}")
  endif()
endforeach()
