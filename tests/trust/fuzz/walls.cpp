// Wall files: what can be read is written and read again, and is equal; a small wall is set up and discovered.

#include "WallDump.h"

#include <Correction/ScreenManager.h>

using namespace Simulator;

void Fuzz::setUp()
{
    VirtualWall::instance().timeline().setClock(ClockMode::Stepped);
}

void Fuzz::run(Bytes &input)
{
    const QByteArray file = input.rest();
    WallDescription wall;
    wall.title = QStringLiteral("before");
    QString error;
    if (!parseWall(file, QStringLiteral("wall.json"), wall, &error)) {
        require(!error.isEmpty() && wall.title == QLatin1String("before") && wall.devices.isEmpty(),
                "a wall that cannot be read leaves the description alone, and says why");
        return;
    }
    require(error.isEmpty(), "a wall that was read has an error");
    const QByteArray written = wallToJson(wall);
    WallDescription again;
    if (!parseWall(written, QStringLiteral("written.json"), again, &error))
        fail(QStringLiteral("what was written cannot be read: ") + error);
    require(again == wall, "what was written differs");
    same(QString::fromUtf8(wallToJson(again)), QString::fromUtf8(written), "the second text");

    if (pixelsOf(wall) > 4096 || wall.devices.size() > 8)
        return;
    VirtualWall &virtualWall = VirtualWall::instance();
    virtualWall.setWall(wall);
    if (wall.events.isEmpty())
        require(virtualWall.wall() == wall, "a wall that was set up differs from its description");
    const int code = Correction::ScreenManager::getInstance()->refreshScreen();
    require(code >= 0 && code <= 8, "not a result code");
    linesOf(virtualWall);
    virtualWall.reset();
    virtualWall.timeline().setClock(ClockMode::Stepped);
}
