# correction_exports(TARGET MAP): the library exports what the map lists and nothing else. Hidden visibility alone lets templates of
# the C++ library and inline functions of Qt through, which would become part of the binary interface.
function(correction_exports target map)
  set(map "${PROJECT_SOURCE_DIR}/${map}")
  target_link_options(${target} PRIVATE "LINKER:--version-script,${map}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${map}")
endfunction()
