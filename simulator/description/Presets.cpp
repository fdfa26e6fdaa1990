#include <simulator/WallFile.h>

#include <QtCore/QFile>

namespace Simulator {

QStringList presetNames()
{
    return {QStringLiteral("demo"), QStringLiteral("uhd"), QStringLiteral("stadium"), QStringLiteral("broken"),
            QStringLiteral("uneven")};
}

bool presetWall(const QString &name, WallDescription &wall)
{
    if (!presetNames().contains(name))
        return false;
    // Compiled in from simulator/walls.
    QFile file(QStringLiteral(":/correction/walls/%1.json").arg(name));
    return file.open(QIODevice::ReadOnly) && parseWall(file.readAll(), file.fileName(), wall);
}

} // namespace Simulator
