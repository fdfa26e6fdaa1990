# Each program runs the built correctionctl, as a user does.
function(correctionctl_test source)
  correction_test(${source})
  get_filename_component(name "${source}" NAME_WE)
  target_compile_definitions(${name} PRIVATE CORRECTIONCTL="$<TARGET_FILE:correctionctl>" SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_dependencies(${name} correctionctl)
endfunction()

if(CORRECTION_BUILD_TOOLS AND NOT CORRECTIONCTL_SERVICE)
  correctionctl_test(tools/tst_ctlverbs.cpp)
  correctionctl_test(tools/tst_ctlfailures.cpp)
  correctionctl_test(tools/tst_ctldocuments.cpp)
  correctionctl_test(tools/tst_ctlscenario.cpp)
endif()
