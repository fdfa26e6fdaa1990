# One promise header for the library, the device service and the host: an installed QtPromise where there is one, else the
# header in qtpromise/. QTPROMISE_ROOT names a folder to look in first (it, or its include/ or src/, holds the file QtPromise).
set(QTPROMISE_ROOT "" CACHE PATH "Where QtPromise is installed")
find_path(QTPROMISE_INCLUDE_DIR NAMES QtPromise HINTS "${QTPROMISE_ROOT}" PATH_SUFFIXES include src include/QtPromise)

add_library(correction_qtpromise INTERFACE)
add_library(Correction::QtPromise ALIAS correction_qtpromise)
set_target_properties(correction_qtpromise PROPERTIES EXPORT_NAME QtPromise)
target_link_libraries(correction_qtpromise INTERFACE Qt5::Core)

if(QTPROMISE_INCLUDE_DIR)
  message(STATUS "Promises: installed QtPromise in ${QTPROMISE_INCLUDE_DIR}")
  target_include_directories(correction_qtpromise SYSTEM INTERFACE "${QTPROMISE_INCLUDE_DIR}")
else()
  message(STATUS "Promises: the header of this project, qtpromise/ (no installed QtPromise was found)")
  target_include_directories(correction_qtpromise INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/qtpromise>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/Correction-qtpromise>)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/qtpromise/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Correction-qtpromise)
endif()
