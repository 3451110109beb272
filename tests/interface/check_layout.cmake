# cmake -DPROGRAM=COMMAND -DEXPECTED=FILE -P check_layout.cmake
# Fails unless the program prints what the file has.
cmake_minimum_required(VERSION 3.18)

execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE printed RESULT_VARIABLE status)
file(READ "${EXPECTED}" expected)
if(NOT status EQUAL 0 OR NOT printed STREQUAL expected)
  message(FATAL_ERROR "status ${status}, printed:\n${printed}")
endif()
