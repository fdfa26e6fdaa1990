add_library(trust_operations OBJECT trust/OperationTable.cpp)
target_link_libraries(trust_operations PRIVATE correction_test_support)
foreach(name IN ITEMS tst_servicefaults tst_reentrancy tst_outofmemory tst_hostiledevices)
  correction_test(trust/${name}.cpp)
  target_link_libraries(${name} PRIVATE trust_operations)
endforeach()
# Wall directories. DiskSteps.cpp has its functions before those of the C library.
add_library(trust_disk OBJECT trust/DiskWork.cpp simulator/DiskSteps.cpp)
target_link_libraries(trust_disk PRIVATE correction_test_support)
foreach(name IN ITEMS tst_killedwriters tst_diskcalls tst_diskdamage tst_powercuts)
  correction_test(trust/${name}.cpp)
  target_link_libraries(${name} PRIVATE trust_disk)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
endforeach()
add_test(NAME trust_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/trust_table.sh" "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/trust_table")
add_test(NAME trust_coverage_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/coverage_table_test.sh" "${CMAKE_CURRENT_LIST_DIR}/coverage_table.py"
    "${CMAKE_CURRENT_BINARY_DIR}/coverage_table")
