#pragma once

#include "Planes.h"
#include "faults/Rules.h"

#include <simulator/DeviceSettings.h>
#include <simulator/WallDescription.h>

#include <QtCore/QHash>

#include <vector>

/// The state of devices: plain values without locks.
namespace Simulator {

struct CabinetState {
    std::array<Planes, kindCount> kinds;
    int brightness = 0;
    int effectMode = 0;
    std::array<QList<int>, 3> gamma; ///< By Channel.
    QMap<QString, QVariant> multilayerParameter;
    QList<QVariant> multilayerParameters;
    QByteArray configFile;
    QMap<QString, int> flashCheckCodes; ///< By module id; only those that were set.

    Planes &planes(Kind kind) { return kinds[static_cast<std::size_t>(kind)]; }
    const Planes &planes(Kind kind) const { return kinds[static_cast<std::size_t>(kind)]; }
};

/// The pixels that the cleared planes of a device consist of, by Kind, where those of its wall are `ofWall`. See
/// State::setDefaultPixel().
std::array<QByteArray, kindCount> defaultPixels(const Device &device, const std::array<QByteArray, kindCount> &ofWall);

/// A device. docs/store.md lists what each operation reads and writes, and what survives a restart.
struct DeviceState {
    /// As delivered: every store and setting at its default.
    explicit DeviceState(const Device &device);

    /// The settings of a device as delivered.
    static DeviceSettings deliveredSettings(const Device &device);

    /// Power-on, also when a saved wall is opened: every cabinet shows its User store; lock, test image and image mode are
    /// reset. A device that forgets on restart is as delivered but for Factory, Module and Flash and the flash check codes.
    void powerUp();

    Device original;                      ///< As described, with the screen name and the flags that it was delivered with.
    Device description;                   ///< With those that were set since.
    QMap<QString, CabinetState> cabinets; ///< By cabinet id.
    DeviceSettings settings;
    int imageMode = 0;
    QString lockOwner;
    Pattern pattern;

    bool plugged = true;
    quint64 powerLosses = 0;       ///< Calls in progress when it changes are lost.
    Timing timing;                 ///< The personality's included.
    std::vector<ScriptData> rules; ///< Faults: the last one that applies is used.
    qint64 busyUntil = 0;          ///< Microseconds of the wall's clock.

    /// Null for an unknown id, here and below. The first of several cabinets with one id.
    const Cabinet *describedCabinet(const QString &cabinetId) const;
    Cabinet *describedCabinet(const QString &cabinetId);
    const Module *describedModule(const QString &cabinetId, const QString &moduleId) const;
    Module *describedModule(const QString &cabinetId, const QString &moduleId);
    /// The same of `original`.
    const Cabinet *deliveredCabinet(const QString &cabinetId) const;
    /// The cabinet id with this number, such as "007" for 7; null without one.
    QString idWithNumber(qulonglong number) const { return m_idsByNumber.value(number); }

private:
    struct Place {
        int subScreen;
        int cabinet;
    };

    /// Everything but Factory, Module and Flash and the flash check codes is as delivered.
    void forget();

    QHash<QString, Place> m_places; ///< By cabinet id.
    QHash<qulonglong, QString> m_idsByNumber;
};

} // namespace Simulator
