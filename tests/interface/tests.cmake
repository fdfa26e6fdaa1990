correction_test(interface/tst_slotorders.cpp)

set(interface_dir "${CMAKE_CURRENT_LIST_DIR}")

add_test(NAME exported_symbols
  COMMAND "${interface_dir}/exported_symbols.sh" "${CMAKE_NM}" "${CMAKE_READELF}" "$<TARGET_FILE:correction>"
    "libcorrection.so.${CORRECTION_SOVERSION}" "$<TARGET_FILE:correction-adapter>" "$<TARGET_FILE:correction-simulator>"
    $<$<BOOL:${CORRECTION_BUILD_CALIBRATION}>:$<TARGET_FILE:correction-calibration>>
  COMMAND_EXPAND_LISTS)

add_test(NAME layering COMMAND "${interface_dir}/layering.sh" "${PROJECT_SOURCE_DIR}")
add_test(NAME layering_finds_faults COMMAND "${interface_dir}/layering_finds_faults.sh" "${PROJECT_SOURCE_DIR}")
add_test(NAME lint_finds_faults COMMAND "${interface_dir}/lint_finds_faults.sh" "${PROJECT_SOURCE_DIR}")
set_tests_properties(lint_finds_faults PROPERTIES SKIP_RETURN_CODE 77)
correction_slow_tests(layering layering_finds_faults lint_finds_faults)

add_test(NAME log_lines
  COMMAND "${interface_dir}/log_lines.py" "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/docs/guides/troubleshooting.md")

if(CMAKE_CROSSCOMPILING)
  message(STATUS "Headers by themselves and the installed package are not tested: that takes the build machine's compilers")
  return()
endif()

# The API reference: every public symbol is documented, every link leads somewhere.
if(TARGET service-reference)
  add_test(NAME reference
    COMMAND "${PROJECT_SOURCE_DIR}/scripts/reference" "${CMAKE_CURRENT_BINARY_DIR}/reference" "$<TARGET_FILE:service-reference>")
  add_test(NAME reference_finds_faults
    COMMAND "${interface_dir}/reference_finds_faults.sh" "${PROJECT_SOURCE_DIR}" "$<TARGET_FILE:service-reference>")
  correction_slow_tests(reference reference_finds_faults)
endif()

# The binary interface and its record. Another compiler, another machine or other flags describe the same types otherwise, and
# without debug information there is nothing to compare.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND CMAKE_BUILD_TYPE STREQUAL "Debug"
    AND CMAKE_CXX_FLAGS STREQUAL "" AND NOT correction_installed_qtpromise)
  foreach(library IN ITEMS correction correction-adapter correction-simulator correction-calibration)
    if(TARGET ${library})
      add_test(NAME abi_${library}
        COMMAND "${PROJECT_SOURCE_DIR}/scripts/abi" compare "${PROJECT_SOURCE_DIR}/abi/${library}.abi" "$<TARGET_FILE:${library}>")
    endif()
  endforeach()
  add_test(NAME abi_finds_changes
    COMMAND "${interface_dir}/abi_finds_changes.sh" "${PROJECT_SOURCE_DIR}" "${CMAKE_CXX_COMPILER}"
      -I "${PROJECT_SOURCE_DIR}/qtpromise"
      -isystem "$<JOIN:$<TARGET_PROPERTY:Qt5::Core,INTERFACE_INCLUDE_DIRECTORIES>,;-isystem;>"
      -isystem "$<JOIN:$<TARGET_PROPERTY:Qt5::Gui,INTERFACE_INCLUDE_DIRECTORIES>,;-isystem;>"
    COMMAND_EXPAND_LISTS)
  correction_slow_tests(abi_finds_changes)
else()
  message(STATUS "The binary interface is not compared with its record: that takes a debug build by g++ for x86-64 without "
    "further flags, and the bundled promise header")
endif()

# Every public header by itself, with both compilers, whatever this build uses.
if(correction_installed_qtpromise)
  set(interface_promise -isystem "${correction_installed_qtpromise}")
else()
  set(interface_promise -I "${PROJECT_SOURCE_DIR}/qtpromise")
endif()
foreach(compiler IN ITEMS g++ clang++)
  set(name headers_stand_alone_${compiler})
  add_test(NAME ${name}
    COMMAND "${interface_dir}/headers_stand_alone.sh" ${compiler} "${PROJECT_SOURCE_DIR}" ${interface_promise}
      -isystem "$<JOIN:$<TARGET_PROPERTY:Qt5::Core,INTERFACE_INCLUDE_DIRECTORIES>,;-isystem;>"
      -isystem "$<JOIN:$<TARGET_PROPERTY:Qt5::Gui,INTERFACE_INCLUDE_DIRECTORIES>,;-isystem;>"
    COMMAND_EXPAND_LISTS)
  correction_building_tests(${name})
endforeach()

add_test(NAME consumer
  COMMAND "${interface_dir}/consumer.sh" "${CMAKE_COMMAND}" "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}"
    "${CMAKE_CURRENT_BINARY_DIR}/consumer" "${PROJECT_VERSION}" "${CMAKE_GENERATOR}" "${CMAKE_CXX_COMPILER}"
    "${CMAKE_BUILD_TYPE}" "${CMAKE_CXX_FLAGS}")
correction_building_tests(consumer) # some twenty programs

# The other promise header is a stand-in, so this needs a build with the bundled one.
if(NOT correction_installed_qtpromise)
  separate_arguments(interface_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
  add_test(NAME promise_mixes
    COMMAND "${interface_dir}/promise_mixes.sh" "${CMAKE_COMMAND}" "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}"
      "${CMAKE_CURRENT_BINARY_DIR}/promise_mixes" "${CMAKE_GENERATOR}" "${CMAKE_CXX_COMPILER}"
      "$<TARGET_FILE:Qt5::moc>" "${CMAKE_BUILD_TYPE}" "$<TARGET_FILE_NAME:correction>"
      "$<TARGET_SONAME_FILE_NAME:correction>" ${interface_flags}
      -isystem "$<JOIN:$<TARGET_PROPERTY:Qt5::Core,INTERFACE_INCLUDE_DIRECTORIES>,;-isystem;>"
      -isystem "$<JOIN:$<TARGET_PROPERTY:Qt5::Gui,INTERFACE_INCLUDE_DIRECTORIES>,;-isystem;>"
    COMMAND_EXPAND_LISTS)
  correction_building_tests(promise_mixes)
endif()
