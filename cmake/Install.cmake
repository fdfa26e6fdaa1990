# Installation: `cmake --install DIR [--component library|simulator|calibration|development|tools|documentation]`.
set(correction_config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Correction")
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

# correction_install_library(COMPONENT DEVELOPMENT EXPORT TARGET...): DEVELOPMENT is the component of the files for building hosts.
function(correction_install_library component development export)
  install(TARGETS ${ARGN} EXPORT ${export}
    RUNTIME COMPONENT ${component}
    LIBRARY COMPONENT ${component} NAMELINK_COMPONENT ${development})
  install(EXPORT ${export} NAMESPACE Correction:: DESTINATION "${correction_config_dir}" COMPONENT ${development})
endfunction()

install(DIRECTORY include/Correction DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY service DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Correction-service FILES_MATCHING PATTERN "*.h")
correction_install_library(library development CorrectionTargets correction correction_service correction_qtpromise)
if(CORRECTION_BUILD_SIMULATOR)
  # All in one component: CMake's targets may be there only together with their libraries.
  correction_install_library(simulator simulator CorrectionSimulatorTargets correction-adapter correction-simulator)
endif()
if(CORRECTION_BUILD_CALIBRATION)
  correction_install_library(calibration calibration CorrectionCalibrationTargets correction-calibration)
endif()

# For CMake.
configure_package_config_file(cmake/CorrectionConfig.cmake.in "${PROJECT_BINARY_DIR}/CorrectionConfig.cmake"
  INSTALL_DESTINATION "${correction_config_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/CorrectionConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/CorrectionConfig.cmake" "${PROJECT_BINARY_DIR}/CorrectionConfigVersion.cmake"
  cmake/FindQtPromiseHeader.cmake
  DESTINATION "${correction_config_dir}")

# For pkg-config and qmake. Both find the installation from the place of their own file.
function(correction_path_from folder variable)
  file(RELATIVE_PATH path "/prefix/${folder}" /prefix)
  string(REGEX REPLACE "/$" "" path "${path}")
  set(${variable} "${path}" PARENT_SCOPE)
endfunction()
set(correction_promise_flags "")
if(CORRECTION_BUILT_WITH_BUNDLED_QTPROMISE)
  set(correction_promise_flags " -I\${includedir}/Correction-qtpromise")
endif()
correction_path_from("${CMAKE_INSTALL_LIBDIR}/pkgconfig" correction_prefix)
function(correction_install_modules component)
  foreach(module IN LISTS ARGN)
    configure_file(cmake/pkgconfig/${module}.pc.in "${PROJECT_BINARY_DIR}/pkgconfig/${module}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${module}.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
      COMPONENT ${component})
  endforeach()
endfunction()
correction_install_modules(development correction correction-service)
if(CORRECTION_BUILD_SIMULATOR)
  correction_install_modules(simulator correction-adapter correction-simulator)
endif()
if(CORRECTION_BUILD_CALIBRATION)
  correction_install_modules(calibration correction-calibration)
endif()
correction_path_from("${CMAKE_INSTALL_DATADIR}/correction" correction_prefix)
configure_file(cmake/correction.pri.in "${PROJECT_BINARY_DIR}/correction.pri" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/correction.pri" DESTINATION ${CMAKE_INSTALL_DATADIR}/correction)

# For readers. README.md and docs/ keep their places to each other, so that their links lead somewhere.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
  PATTERN Doxyfile EXCLUDE PATTERN mainpage.dox EXCLUDE)
if(CORRECTION_BUILD_SIMULATOR)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
endif()
