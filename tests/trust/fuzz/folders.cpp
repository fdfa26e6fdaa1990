// Wall directories with changed files: where opening succeeds, it gives what reading beside a writer gives, the devices
// save, and the directory holds the same when it is opened again.

#include "WallDump.h"

#include "support/Files.h"

using namespace Simulator;
using TestSupport::Files;
using TestSupport::filesBelow;

namespace {

/// A directory to begin with, and what can be read of its wall.
struct Base {
    Files files;
    QStringList lines;
};

QVector<Base> bases;

/// Whether only packs were changed.
bool change(Files &files, Fuzz::Bytes &input)
{
    const int form = input.below(4);
    if (form == 3) { // a file that should not be there
        static const char *const names[] = {"/devices/A/state.json.aB3dE9", "/devices/A/9.planes", "/devices/A/x.planes",
                                            "/devices/C/state.json",        "/wall.json.lock",     "/lock",
                                            "/devices/A/0.planes",          "/devices/B/1.planes"};
        files.insert(QString::fromLatin1(input.pick(names)), input.rest());
        return false;
    }
    const QString name = input.pick(files.keys());
    QByteArray &content = files[name];
    if (form == 0) {
        content = input.rest();
    } else {
        while (!input.isAtEnd()) {
            const int at = input.below(65536) % (content.size() + 1);
            const int removed = input.below(8);
            content.replace(at, qMin(removed, content.size() - at), input.bytes(input.below(8)));
        }
    }
    if (name == QLatin1String("/wall.json"))
        files.remove(QStringLiteral("/wall.sha1"));
    return name.endsWith(QLatin1String(".planes"));
}

} // namespace

void Fuzz::setUp()
{
    for (const char *const source : {TOOL_SAMPLES "/wall", TOOL_SAMPLES "/wall-2", WALL_VERSION_1}) {
        const Files files = filesBelow(QString::fromUtf8(source));
        const QString path = folder() + QStringLiteral("/%1").arg(bases.size());
        TestSupport::restoreFiles(path, files);
        VirtualWall wall;
        QString error;
        if (!wall.open(path, &error))
            fail(error);
        bases.append({files, linesOf(wall)});
    }
}

void Fuzz::run(Bytes &input)
{
    const Base base = input.pick(bases);
    Files files = base.files;
    const bool isPackAlone = change(files, input);
    const QString path = folder() + QStringLiteral("/wall");
    TestSupport::restoreFiles(path, files);

    VirtualWall reader;
    QString readError;
    const bool isRead = reader.loadReadOnly(path, &readError);
    VirtualWall wall;
    QString error;
    if (!wall.open(path, &error)) {
        require(!error.isEmpty(), "refused without a reason");
        if (isRead && !error.contains(QLatin1String("/lock:")))
            fail(QStringLiteral("read beside a writer, but not opened: ") + error);
        return;
    }
    if (!isRead)
        fail(QStringLiteral("opened, but not read beside a writer: ") + readError);
    if (pixelsOf(wall.wall()) > 4096 || wall.wall().devices.size() > 8)
        return;
    const QStringList lines = linesOf(wall);
    sameLines(linesOf(reader), lines, "what a reader gets");
    if (isPackAlone)
        sameLines(lines, base.lines, "a wall with a changed pack");

    for (const Device &device : wall.wall().devices) {
        require(wall.state().setGamma(device.key, Channel::Red, {1, 2, 3}), "a device does not save");
        for (const SubScreen &subScreen : device.subScreens) {
            for (const Cabinet &cabinet : subScreen.cabinets) {
                const QByteArray plane = wall.state().plane(device.key, cabinet.id, Kind::Chroma, Store::User);
                require(wall.state().setPlane(device.key, cabinet.id, Kind::Chroma, plane, Store::Factory),
                        "a cabinet does not save");
            }
        }
    }
    sameAfterReopening(wall, path);
}
