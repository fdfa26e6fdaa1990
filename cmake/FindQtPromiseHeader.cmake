# correction_find_qtpromise(VARIABLE) sets VARIABLE to the folder of an installed QtPromise, or to nothing. With QTPROMISE_ROOT
# set, it looks only there (it, or its include/ or src/, holds the file QtPromise), else on the usual paths. Searches again
# whenever it is called and changes no other variable. Used by the build and, installed, by the package.
function(correction_find_qtpromise variable)
  unset(correction_qtpromise_dir CACHE)
  if(QTPROMISE_ROOT)
    find_path(correction_qtpromise_dir NAMES QtPromise PATHS "${QTPROMISE_ROOT}"
      PATH_SUFFIXES include/QtPromise include src NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  else()
    find_path(correction_qtpromise_dir NAMES QtPromise PATH_SUFFIXES QtPromise)
  endif()
  set(found "${correction_qtpromise_dir}")
  unset(correction_qtpromise_dir CACHE)

  # Neither a folder of that name nor the bundled header is one.
  set(bundled "")
  if(found AND NOT IS_DIRECTORY "${found}/QtPromise")
    file(STRINGS "${found}/QtPromise" bundled REGEX "define CORRECTION_BUNDLED_QTPROMISE")
  endif()
  if(NOT found OR IS_DIRECTORY "${found}/QtPromise" OR bundled)
    set(found "")
  endif()
  set(${variable} "${found}" PARENT_SCOPE)
endfunction()
