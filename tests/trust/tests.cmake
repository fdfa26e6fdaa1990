add_library(trust_operations OBJECT trust/OperationTable.cpp)
target_link_libraries(trust_operations PRIVATE correction_test_support)
foreach(name IN ITEMS tst_servicefaults tst_reentrancy tst_outofmemory tst_hostiledevices)
  correction_test(trust/${name}.cpp)
  target_link_libraries(${name} PRIVATE trust_operations)
endforeach()

# Wall directories. The functions of DiskSteps.cpp have priority over those of the C library.
add_library(trust_disk OBJECT trust/DiskWork.cpp simulator/DiskSteps.cpp)
target_link_libraries(trust_disk PRIVATE correction_test_support)
foreach(name IN ITEMS tst_killedwriters tst_diskcalls tst_diskdamage tst_powercuts)
  correction_test(trust/${name}.cpp)
  target_link_libraries(${name} PRIVATE trust_disk)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
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
add_test(NAME trust_mutation
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/mutation_test.sh" "${CMAKE_CURRENT_LIST_DIR}/mutation.py" "${CMAKE_CURRENT_BINARY_DIR}/mutation")
set_tests_properties(trust_mutation PROPERTIES SKIP_RETURN_CODE 77)

# The fuzz targets, one source each, of the table trust/fuzz/targets. Every one is a test that runs its corpus and some
# mutations; a build with libFuzzer (the preset "fuzz") has fuzz_NAME instead, which scripts/trust runs.
if(CMAKE_CXX_FLAGS MATCHES "sanitize=fuzzer-no-link")
  set(has_fuzzer ON)
endif()
add_library(trust_fuzz OBJECT trust/fuzz/Fuzz.cpp $<$<NOT:$<BOOL:${has_fuzzer}>>:trust/fuzz/Replay.cpp>)
target_link_libraries(trust_fuzz PRIVATE correction_test_support)
add_custom_target(fuzz_targets)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/fuzz/targets")
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/fuzz/targets" fuzz_lines REGEX "^[a-z]")
foreach(line IN LISTS fuzz_lines)
  separate_arguments(line)
  list(GET line 0 name)
  if(name MATCHES "^(npy|snapshots)$" AND NOT TARGET correctionctl_verbs)
    continue() # readers of the tools
  endif()
  list(GET line 2 mutations)
  set(target fuzz_${name})
  add_executable(${target} trust/fuzz/${name}.cpp)
  target_link_libraries(${target} PRIVATE correction_test_support trust_fuzz)
  if(has_fuzzer)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
  else()
    add_test(NAME ${target} COMMAND ${target} "${CMAKE_CURRENT_LIST_DIR}/corpus/${name}" ${mutations})
    set_tests_properties(${target} PROPERTIES ENVIRONMENT
      "QT_QPA_PLATFORM=offscreen;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp")
  endif()
  add_dependencies(fuzz_targets ${target})
endforeach()
target_link_libraries(fuzz_replies PRIVATE trust_operations)
target_sources(fuzz_base64 PRIVATE ../model/Codec.cpp ../model/Logging.cpp)
target_compile_definitions(fuzz_base64 PRIVATE HWY_COMPILE_ALL_ATTAINABLE) # also the loops without vectors
target_link_libraries(fuzz_programs PRIVATE trust_operations)
target_link_libraries(fuzz_journals PRIVATE correction_json)
target_compile_definitions(fuzz_folders PRIVATE
  TOOL_SAMPLES="${PROJECT_SOURCE_DIR}/tests/tools/samples" WALL_VERSION_1="${PROJECT_SOURCE_DIR}/tests/simulator/wall-version-1")
if(TARGET fuzz_npy)
  # Of the program's sources only those that read and write files: the verbs take long to compile.
  set(sources files/Csv.cpp files/Files.cpp files/Grid.cpp files/Npy.cpp files/Npz.cpp files/SnapshotFile.cpp
    session/Replies.cpp session/VirtualService.cpp terminal/ExitCodes.cpp terminal/Interrupt.cpp terminal/Output.cpp terminal/Texts.cpp)
  list(TRANSFORM sources PREPEND "${PROJECT_SOURCE_DIR}/tools/correctionctl/")
  add_library(trust_files OBJECT trust/fuzz/NoVerbs.cpp ${sources})
  target_include_directories(trust_files PUBLIC "${PROJECT_SOURCE_DIR}/tools/correctionctl")
  target_include_directories(trust_files SYSTEM PRIVATE "${LIBZIP_INCLUDE_DIR}")
  target_link_libraries(trust_files
    PUBLIC correction_checksum correction_json "${LIBZIP_LIBRARY}" PRIVATE correction_test_support)
  foreach(name IN ITEMS npy snapshots)
    target_link_libraries(fuzz_${name} PRIVATE trust_files)
  endforeach()
endif()
