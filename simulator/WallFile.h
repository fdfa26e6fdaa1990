#pragma once

#include <simulator/SimulatorGlobal.h>
#include <simulator/WallDescription.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/// Walls as JSON files (docs/walls.md), and the walls that come with the library.
///
/// Functions that can fail return false, leave the description or the file unchanged, and set `error`, where there is one,
/// to all problems: one line for each, naming the file, the place in it and the reason, for instance `a.json:
/// devices[1].screens[0].subScreens[0].cabinets[3].size.width: expected a positive integer, got -64`. All functions may be
/// called from any thread.
namespace Simulator {

/// "demo", "uhd", "stadium", "broken", "uneven".
SIMULATOR_API QStringList presetNames();
/// False, and `wall` unchanged, for an unknown name.
SIMULATOR_API bool presetWall(const QString &name, WallDescription &wall);

/// Reads a description from the text of a wall file. `source` is the file's name in errors.
SIMULATOR_API bool parseWall(const QByteArray &json, const QString &source, WallDescription &wall, QString *error = nullptr);
/// Reads a wall file.
SIMULATOR_API bool readWall(const QString &path, WallDescription &wall, QString *error = nullptr);

/// The text of a wall file: keys in the order of the documentation, without those whose value is the default; cabinets
/// that make up a regular grid as "grid". Reading it again gives an equal description.
SIMULATOR_API QByteArray wallToJson(const WallDescription &wall);
/// Writes a wall file, whole or not at all. A description that could not be read again is refused.
SIMULATOR_API bool writeWall(const QString &path, const WallDescription &wall, QString *error = nullptr);

/// The JSON Schema of wall files, with a line feed at the end: docs/wall.schema.json.
SIMULATOR_API QByteArray wallSchema();

} // namespace Simulator
