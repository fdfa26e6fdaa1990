#pragma once

#include "Fuzz.h"

#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QStringList>

namespace Fuzz {

/// The number of pixels of a wall's cabinets.
inline qint64 pixelsOf(const Simulator::WallDescription &wall)
{
    qint64 pixels = 0;
    for (const Simulator::Device &device : wall.devices) {
        for (const Simulator::SubScreen &subScreen : device.subScreens) {
            for (const Simulator::Cabinet &cabinet : subScreen.cabinets)
                pixels += qint64(cabinet.size.width()) * cabinet.size.height();
        }
    }
    return pixels;
}

/// Everything that can be read of a wall, a line for each value.
inline QStringList linesOf(const Simulator::VirtualWall &wall)
{
    using namespace Simulator;
    const State &state = wall.state();
    const WallDescription description = wall.wall();
    QStringList lines{QString::fromUtf8(wallToJson(description))};
    const auto add = [&lines](const QString &place, const char *what, const QVariant &value) {
        lines.append(place + QLatin1Char(' ') + QString::fromLatin1(what) + QStringLiteral(": ")
                     + CallJournal::describe(value));
    };
    const auto addTable = [&add](const QString &place, const QList<int> &table) {
        add(place, "gamma", QVariant::fromValue(table));
    };
    for (const Device &device : description.devices) {
        const QString &key = device.key;
        const DeviceSettings settings = state.settings(key);
        DeviceSettings::fields(
            [&](const char *name, auto member, Adapter::Operation::Id, const char *) { add(key, name, settings.*member); });
        for (const QList<int> &table : settings.gamma)
            addTable(key, table);
        add(key, "image mode", state.imageMode(key));
        add(key, "lock", state.lockOwner(key));
        add(key, "pattern", int(state.pattern(key).type));
        add(key, "pattern's request", state.pattern(key).request);
        for (const SubScreen &subScreen : device.subScreens) {
            for (const Cabinet &cabinet : subScreen.cabinets) {
                const QString &id = cabinet.id;
                const QString place = key + QLatin1Char('/') + id;
                for (const Kind kind : {Kind::Chroma, Kind::Multilayer, Kind::LowGray}) {
                    for (const Store store : {Store::Working, Store::User, Store::Factory, Store::Module, Store::Flash})
                        lines.append(place + QString::fromLatin1(state.plane(key, id, kind, store)));
                    add(place, "shown", int(state.shown(key, id, kind)));
                }
                for (const Channel channel : {Channel::Red, Channel::Green, Channel::Blue})
                    addTable(place, state.gamma(key, id, channel));
                add(place, "brightness", state.brightness(key, id));
                add(place, "effect mode", state.effectMode(key, id));
                add(place, "parameter", state.multilayerParameter(key, id));
                add(place, "parameters", state.multilayerParameters(key, id));
                add(place, "configuration file", state.configFile(key, id));
                add(place, "flag", state.flag(key, id));
                for (const ReceivingCard &card : cabinet.receivingCards) {
                    for (const Module &module : card.modules) {
                        add(place, "module's flag", state.moduleFlag(key, id, module.id));
                        add(place, "module's code", state.flashCheckCode(key, id, module.id));
                    }
                }
            }
        }
    }
    return lines;
}

/// Two devices that save: A with two cabinets of 4 x 2 pixels, B with one, whose multilayer pixels have 3 bytes.
inline Simulator::WallDescription savingWall()
{
    Simulator::WallDescription wall;
    wall.devices = {Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 1, QSize(4, 2)),
                    Simulator::gridDevice(QStringLiteral("B"), QPoint(8, 0), 1, 1, QSize(4, 2), 3)};
    wall.devices[1].multilayerBytesPerPixel = 3;
    wall.devices[1].personality = QStringLiteral("forgets on restart");
    return wall;
}

/// Everything that is left of a wall after all its devices have restarted.
inline QStringList linesAfterRestart(Simulator::VirtualWall &wall)
{
    for (const Simulator::Device &device : wall.wall().devices) {
        wall.plug(device.key);
        require(wall.restartDevice(device.key), "a device does not restart");
    }
    return linesOf(wall);
}

/// Fails with the first line that differs.
inline void sameLines(const QStringList &got, const QStringList &expected, const char *what)
{
    for (int i = 0; i < qMax(got.size(), expected.size()); ++i)
        same(got.value(i), expected.value(i), what);
}

/// Restarts the devices of a wall in a directory and closes it. Fails when another one that opens the directory differs.
inline void sameAfterReopening(Simulator::VirtualWall &wall, const QString &directory)
{
    const QStringList expected = linesAfterRestart(wall);
    wall.close();
    Simulator::VirtualWall again;
    QString error;
    if (!again.open(directory, &error))
        fail(QStringLiteral("what was saved cannot be opened: ") + error);
    sameLines(linesOf(again), expected, "what was saved");
}

} // namespace Fuzz
