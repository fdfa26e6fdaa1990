correction_test(trust/tst_servicefaults.cpp)
add_test(NAME trust_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/trust_table.sh" "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/trust_table")
