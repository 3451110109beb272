# cmake -DNM=nm -DBINARY=FILE -DSYMBOLS=defined|undefined -P check_functions.cmake
# Fails unless the library exports the seven functions of the runtime's C interface and nothing
# else, or the program asks for these seven of them.
cmake_minimum_required(VERSION 3.18)

set(wanted rknn_destroy rknn_init rknn_inputs_set rknn_outputs_get rknn_outputs_release
  rknn_query rknn_run)

execute_process(COMMAND "${NM}" -D -P --${SYMBOLS}-only "${BINARY}"
  OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed: ${status}")
endif()
string(REGEX MATCHALL "[^\n]+" found "${symbols}")
list(TRANSFORM found REPLACE " .*" "")
if(SYMBOLS STREQUAL "undefined")
  list(FILTER found INCLUDE REGEX "^rknn_")
endif()
list(SORT found)
if(NOT found STREQUAL wanted)
  message(FATAL_ERROR "${SYMBOLS} are ${found}, wanted are ${wanted}")
endif()
