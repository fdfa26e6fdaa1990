#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace Simulator {

QStringList presetNames()
{
    return {QStringLiteral("demo"), QStringLiteral("uhd"), QStringLiteral("stadium"), QStringLiteral("broken")};
}

bool presetWall(const QString &name, WallDescription &wall)
{
    if (!presetNames().contains(name))
        return false;
    // Compiled in from simulator/walls.
    QFile file(QStringLiteral(":/correction/walls/%1.json").arg(name));
    return file.open(QIODevice::ReadOnly) && parseWall(file.readAll(), file.fileName(), wall);
}

bool VirtualWall::load(const QString &presetFileOrDirectory, QString *error)
{
    const auto fail = [&](const QString &reason) {
        if (error)
            *error = presetFileOrDirectory + QLatin1String(": ") + reason;
        return false;
    };
    WallDescription wall;
    if (!presetWall(presetFileOrDirectory, wall)) {
        const QFileInfo info(presetFileOrDirectory);
        if (!info.exists())
            return fail(QStringLiteral("no such file or directory, and no preset (%1)")
                            .arg(presetNames().join(QLatin1String(", "))));
        if (info.isDir())
            return open(presetFileOrDirectory, error);
        if (!readWall(presetFileOrDirectory, wall, error))
            return false;
    }
    setWall(wall);
    return true;
}

} // namespace Simulator
