# cmake -DNM=nm -DLIBRARY=librknnrt.so -P check_exports.cmake
# Fails unless the library exports the seven functions of the C interface and nothing else.
cmake_minimum_required(VERSION 3.18)

set(wanted rknn_destroy rknn_init rknn_inputs_set rknn_outputs_get rknn_outputs_release
  rknn_query rknn_run)

execute_process(COMMAND "${NM}" -D -P --defined-only "${LIBRARY}"
  OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed: ${status}")
endif()
string(REGEX MATCHALL "[^\n]+" exported "${symbols}")
list(TRANSFORM exported REPLACE " .*" "")
list(SORT exported)
if(NOT exported STREQUAL wanted)
  message(FATAL_ERROR "exported are ${exported}, wanted are ${wanted}")
endif()
