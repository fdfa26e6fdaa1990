correction_test(adapter/tst_operations.cpp)
target_compile_definitions(tst_operations PRIVATE SERVICE_HEADERS="${PROJECT_SOURCE_DIR}/service")
correction_test(adapter/tst_adapter.cpp)
if(TARGET service-reference)
  correction_program(service_reference service-reference)
  add_test(NAME service_page
    COMMAND "${CMAKE_CURRENT_LIST_DIR}/service_page.sh" "${service_reference}"
      "${PROJECT_SOURCE_DIR}/docs/service.md")
endif()
if(TARGET example-03-http-backend)
  add_test(NAME example_03_http_backend COMMAND example-03-http-backend)
endif()
