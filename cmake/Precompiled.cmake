# With CORRECTION_PRECOMPILE the headers that most sources include are compiled once. A header that a source forgets to include can
# go unnoticed then: builds for other machines, for benchmarks and for packages are without it.
if(CORRECTION_PRECOMPILE)
  set(precompiled_source "${PROJECT_BINARY_DIR}/generated/precompiled.cpp")
  file(CONFIGURE OUTPUT "${precompiled_source}" CONTENT "// Precompiled headers need a target with a source.\n")
  # What it defines, all sources have to define as well: Qt Gui is not among it.
  add_library(correction_precompiled OBJECT "${precompiled_source}")
  target_link_libraries(correction_precompiled PRIVATE Qt5::Core correction_warnings)
  target_precompile_headers(correction_precompiled PRIVATE
    <QtCore/QByteArray> <QtCore/QDebug> <QtCore/QFile> <QtCore/QFileInfo> <QtCore/QJsonArray> <QtCore/QJsonDocument>
    <QtCore/QJsonObject> <QtCore/QList> <QtCore/QMap> <QtCore/QRect> <QtCore/QStringList> <QtCore/QThread> <QtCore/QVariant>
    <QtCore/QVector> <algorithm> <array> <functional> <memory> <mutex> <optional> <vector>)
endif()

# correction_precompile(TARGET...)
function(correction_precompile)
  if(CORRECTION_PRECOMPILE)
    foreach(target IN LISTS ARGN)
      target_precompile_headers(${target} REUSE_FROM correction_precompiled)
    endforeach()
  endif()
endfunction()
