add_library(trust_operations OBJECT trust/OperationTable.cpp)
target_link_libraries(trust_operations PRIVATE correction_test_support)
foreach(name IN ITEMS tst_servicefaults tst_reentrancy tst_outofmemory tst_hostiledevices)
  correction_test(trust/${name}.cpp)
  target_link_libraries(${name} PRIVATE trust_operations)
endforeach()
add_test(NAME trust_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/trust_table.sh" "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/trust_table")
add_test(NAME trust_coverage_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/coverage_table_test.sh" "${CMAKE_CURRENT_LIST_DIR}/coverage_table.py"
    "${CMAKE_CURRENT_BINARY_DIR}/coverage_table")
add_test(NAME trust_mutation
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/mutation_test.sh" "${CMAKE_CURRENT_LIST_DIR}/mutation.py" "${CMAKE_CURRENT_BINARY_DIR}/mutation")
set_tests_properties(trust_mutation PROPERTIES SKIP_RETURN_CODE 77)
