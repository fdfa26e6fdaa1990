correction_test(bench/tst_reference.cpp "${PROJECT_SOURCE_DIR}/bench/Reference.cpp")

# Instructions of a release build, whatever this one is; sanitizers and coverage have nothing to say about speed.
find_program(VALGRIND valgrind)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
elseif(CMAKE_CROSSCOMPILING)
  message(STATUS "Instruction counts are not tested: valgrind does not run programs of another machine")
elseif(NOT VALGRIND)
  message(STATUS "Instruction counts are not tested: valgrind was not found")
else()
  set(guard_dir "${CMAKE_CURRENT_BINARY_DIR}/guard")
  add_test(NAME instruction_counts
    COMMAND "${CMAKE_CTEST_COMMAND}" --build-and-test "${PROJECT_SOURCE_DIR}" "${guard_dir}"
      --build-generator "${CMAKE_GENERATOR}" --build-noclean --build-target correction-guard
      --build-options -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}"
        "-DQTPROMISE_ROOT=${QTPROMISE_ROOT}" -DCORRECTION_BUILD_BENCH=ON -DCORRECTION_BUILD_TESTS=OFF
        -DCORRECTION_BUILD_TOOLS=OFF -DCORRECTION_BUILD_SIMULATOR=ON
      --test-command "${PROJECT_SOURCE_DIR}/bench/guard.sh" check "${guard_dir}/bench/correction-guard"
        "${PROJECT_SOURCE_DIR}/bench/instructions.txt" "${guard_dir}/counts")
  set_tests_properties(instruction_counts PROPERTIES SKIP_REGULAR_EXPRESSION "Not compared, so nothing is guarded here:")
  correction_building_tests(instruction_counts)
  # With counts of another toolchain it ends as skipped, not as passed, and names both.
  add_test(NAME instruction_counts_elsewhere
    COMMAND "${PROJECT_SOURCE_DIR}/tests/bench/elsewhere.sh" "${PROJECT_SOURCE_DIR}/bench/guard.sh"
      "${CMAKE_CURRENT_BINARY_DIR}/elsewhere")
endif()
