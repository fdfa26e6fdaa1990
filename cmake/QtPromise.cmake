# One promise header for the library, the device service and the host: an installed QtPromise where there is one, else the
# header in qtpromise/.
set(QTPROMISE_ROOT "" CACHE PATH "Where QtPromise is installed; empty: look on the usual paths, then take qtpromise/")
include("${CMAKE_CURRENT_LIST_DIR}/FindQtPromiseHeader.cmake")
correction_find_qtpromise(correction_installed_qtpromise)
if(QTPROMISE_ROOT AND NOT correction_installed_qtpromise)
  message(FATAL_ERROR "QTPROMISE_ROOT: no installed QtPromise in ${QTPROMISE_ROOT}, nor in its include or src")
endif()

add_library(correction_qtpromise INTERFACE)
add_library(Correction::QtPromise ALIAS correction_qtpromise)
set_target_properties(correction_qtpromise PROPERTIES EXPORT_NAME QtPromise)
target_link_libraries(correction_qtpromise INTERFACE Qt5::Core)

if(correction_installed_qtpromise)
  message(STATUS "Promises: installed QtPromise in ${correction_installed_qtpromise}")
  set(CORRECTION_BUILT_WITH_BUNDLED_QTPROMISE OFF)
  # The installed package looks for it on the machine that uses it.
  target_include_directories(correction_qtpromise SYSTEM INTERFACE "$<BUILD_INTERFACE:${correction_installed_qtpromise}>")
else()
  message(STATUS "Promises: the header of this project, qtpromise/ (no installed QtPromise was found)")
  set(CORRECTION_BUILT_WITH_BUNDLED_QTPROMISE ON)
  target_include_directories(correction_qtpromise INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/qtpromise>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/Correction-qtpromise>)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/qtpromise/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Correction-qtpromise
    COMPONENT development)
endif()

# The exported headers and those of the service compare the including program's promise header with this build's.
set(correction_generated "${PROJECT_BINARY_DIR}/generated")
foreach(folder IN ITEMS Correction service)
  configure_file(cmake/PromiseCheck.h.in "${correction_generated}/${folder}/PromiseCheck.h")
endforeach()
target_include_directories(correction_qtpromise INTERFACE "$<BUILD_INTERFACE:${correction_generated}>")
install(FILES "${correction_generated}/Correction/PromiseCheck.h" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Correction
  COMPONENT development)
install(FILES "${correction_generated}/service/PromiseCheck.h" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Correction-service/service
  COMPONENT development)
