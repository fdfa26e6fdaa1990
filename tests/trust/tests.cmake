add_library(trust_operations OBJECT trust/OperationTable.cpp)
target_link_libraries(trust_operations PRIVATE correction_test_support)
foreach(name IN ITEMS tst_servicefaults tst_reentrancy tst_outofmemory tst_hostiledevices)
  correction_test(trust/${name}.cpp)
  target_link_libraries(${name} PRIVATE trust_operations)
endforeach()
correction_test(trust/tst_promisechains.cpp trust/PromiseModel.cpp)
# Many threads post events: ThreadSanitizer does not see Qt's own locks, under which Qt copies its lists of them.
set_tests_properties(tst_promisechains PROPERTIES ENVIRONMENT
  "QT_QPA_PLATFORM=offscreen;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp:ignore_noninstrumented_modules=1")
correction_test(trust/tst_endurance.cpp)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  target_compile_definitions(tst_endurance PRIVATE RUNS_IN_EMULATOR)
endif()
add_test(NAME trust_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/trust_table.sh" "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/trust_table")
add_test(NAME trust_coverage_table
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/coverage_table_test.sh" "${CMAKE_CURRENT_LIST_DIR}/coverage_table.py"
    "${CMAKE_CURRENT_BINARY_DIR}/coverage_table")
