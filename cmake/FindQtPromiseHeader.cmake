# Sets QTPROMISE_INCLUDE_DIR to the folder of an installed QtPromise, or to nothing. With QTPROMISE_ROOT set, only there
# (it, or its include/ or src/, holds the file QtPromise), else on the usual paths. Searches again whenever it is included.
# Used by the build and, installed, by the package.
unset(QTPROMISE_INCLUDE_DIR)
unset(QTPROMISE_INCLUDE_DIR CACHE)
if(QTPROMISE_ROOT)
  find_path(QTPROMISE_INCLUDE_DIR NAMES QtPromise PATHS "${QTPROMISE_ROOT}"
    PATH_SUFFIXES include/QtPromise include src NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
else()
  find_path(QTPROMISE_INCLUDE_DIR NAMES QtPromise PATH_SUFFIXES QtPromise)
endif()
set(correction_qtpromise_found "${QTPROMISE_INCLUDE_DIR}")
unset(QTPROMISE_INCLUDE_DIR CACHE)
set(QTPROMISE_INCLUDE_DIR "${correction_qtpromise_found}")
unset(correction_qtpromise_found)

# Neither a folder of that name nor the bundled header is one.
if(QTPROMISE_INCLUDE_DIR AND NOT IS_DIRECTORY "${QTPROMISE_INCLUDE_DIR}/QtPromise")
  file(STRINGS "${QTPROMISE_INCLUDE_DIR}/QtPromise" correction_bundled REGEX "define CORRECTION_BUNDLED_QTPROMISE")
endif()
if(NOT QTPROMISE_INCLUDE_DIR OR IS_DIRECTORY "${QTPROMISE_INCLUDE_DIR}/QtPromise" OR correction_bundled)
  set(QTPROMISE_INCLUDE_DIR "")
endif()
unset(correction_bundled)
