# Each program runs the built correctionctl, as a user does.
function(correctionctl_test source)
  correction_test(${source})
  get_filename_component(name "${source}" NAME_WE)
  target_compile_definitions(${name} PRIVATE CORRECTIONCTL="${correctionctl_program}" SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_dependencies(${name} correctionctl)
endfunction()

# With all its verbs.
if(CORRECTION_BUILD_TOOLS AND CORRECTION_BUILD_CALIBRATION AND NOT CORRECTIONCTL_SERVICE)
  correction_program(correctionctl_program correctionctl)
  correctionctl_test(tools/tst_ctlcalibration.cpp)
  correctionctl_test(tools/tst_ctlverbs.cpp)
  correctionctl_test(tools/tst_ctlfailures.cpp)
  correctionctl_test(tools/tst_ctldocuments.cpp)
  correctionctl_test(tools/tst_ctlincomplete.cpp)
  correctionctl_test(tools/tst_ctlscenario.cpp)
  correctionctl_test(tools/tst_ctlambiguous.cpp)
  correctionctl_test(tools/tst_ctlsamples.cpp)
  correctionctl_test(tools/tst_ctlcomfort.cpp)
  correction_slow_tests(tst_ctlcalibration tst_ctlcomfort tst_ctlverbs)

  correctionctl_test(tools/tst_examples.cpp)
  correction_program(short_host example-00-short-host)
  correction_program(first_host example-01-first-host)
  correction_program(unplugged example-02-unplugged)
  target_compile_definitions(tst_examples PRIVATE SHORT_HOST="${short_host}" FIRST_HOST="${first_host}" UNPLUGGED="${unplugged}")
  add_dependencies(tst_examples example-00-short-host example-01-first-host example-02-unplugged)

  # The demo with cameras, on a smaller wall: the test checks its exit code.
  add_test(NAME demo_even COMMAND "${PROJECT_SOURCE_DIR}/tools/demo/even.sh" "${correctionctl_program}"
    "${PROJECT_SOURCE_DIR}/tests/tools/walls/uneven.json" "${PROJECT_BINARY_DIR}/tests/even")

  # Readers of files, called directly.
  correction_test(tools/tst_ctlfiles.cpp "${PROJECT_SOURCE_DIR}/tools/correctionctl/session/VirtualService.cpp")
  target_link_libraries(tst_ctlfiles PRIVATE correctionctl_verbs)

  # What the program does instead of calling a virtual wall, when a device service is linked in.
  correction_test(tools/tst_ctldeviceservice.cpp "${PROJECT_SOURCE_DIR}/tools/correctionctl/session/DeviceService.cpp")
  target_link_libraries(tst_ctldeviceservice PRIVATE correctionctl_verbs)

  # The guides quote examples.
  correctionctl_test(tools/tst_guides.cpp)
  correction_program(frames example-04-frames)
  correction_program(refresh example-05-refresh)
  correction_program(event_loop example-06-event-loop)
  correction_program(record example-08-record)
  target_compile_definitions(tst_guides PRIVATE FIRST_HOST="${first_host}" FRAMES="${frames}" REFRESH="${refresh}"
    EVENT_LOOP="${event_loop}" RECORD="${record}")
  add_dependencies(tst_guides example-01-first-host example-04-frames example-05-refresh example-06-event-loop example-08-record)

  # The program as it is with a device service of its own.
  add_executable(correctionctl-own-service
    tools/own_service.cpp "${PROJECT_SOURCE_DIR}/tools/correctionctl/session/DeviceService.cpp")
  target_link_libraries(correctionctl-own-service PRIVATE correctionctl_verbs Correction::Simulator correction_warnings)
  correctionctl_test(tools/tst_ctlownservice.cpp)
  correction_program(own_service correctionctl-own-service)
  target_compile_definitions(tst_ctlownservice PRIVATE OWN_SERVICE="${own_service}")
  add_dependencies(tst_ctlownservice correctionctl-own-service)
endif()

if(TARGET service-check)
  correction_program(service_check service-check)
endif()

# The pages show both programs.
if(TARGET tst_ctlscenario AND TARGET service-check AND NOT SERVICE_CHECK_SERVICE)
  target_compile_definitions(tst_ctlscenario PRIVATE SERVICE_CHECK="${service_check}"
    LITTLE_BACKEND="$<TARGET_FILE:example-07-backend>")
  add_dependencies(tst_ctlscenario service-check example-07-backend)
endif()

# Not under ThreadSanitizer, which does not follow the threads inside a Qt Network that is built without it.
if(TARGET tst_ctlverbs AND NOT SERVICE_CHECK_SERVICE AND TARGET example-03-http-plugin
    AND NOT CMAKE_CXX_FLAGS MATCHES "sanitize=thread")
  correctionctl_test(tools/tst_ctlbackend.cpp)
  correction_program(little_device example-03-little-device)
  target_compile_definitions(tst_ctlbackend PRIVATE SERVICE_CHECK="${service_check}" LITTLE_DEVICE="${little_device}"
    HTTP_PLUGIN="$<TARGET_FILE:example-03-http-plugin>")
  add_dependencies(tst_ctlbackend service-check example-03-little-device example-03-http-plugin)
endif()

if(CORRECTION_BUILD_TOOLS AND NOT SERVICE_CHECK_SERVICE)
  correction_test(tools/tst_servicecheck.cpp)
  target_link_libraries(tst_servicecheck PRIVATE service_check correction_operations)
  # The same program on a service that defines the classes itself, as a static library.
  add_library(direct_service STATIC tools/DirectService.cpp
    ${PROJECT_SOURCE_DIR}/service/HttpProxy.h ${PROJECT_SOURCE_DIR}/service/ScreenInfo.h)
  set_target_properties(direct_service PROPERTIES AUTOMOC ON)
  target_link_libraries(direct_service PUBLIC Correction::Service PRIVATE correction_warnings)
  service_check_program(service-check-direct direct_service)
  correction_program(service_check_direct service-check-direct)
  target_compile_definitions(tst_servicecheck PRIVATE SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    SERVICE_CHECK="${service_check}" SERVICE_CHECK_DIRECT="${service_check_direct}"
    SERVICE_CHECK_MANUAL="$<TARGET_PROPERTY:service-check,BINARY_DIR>/service-check.1")
  add_dependencies(tst_servicecheck service-check service-check-direct)
endif()
