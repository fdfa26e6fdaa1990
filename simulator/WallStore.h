#pragma once

#include "Rules.h"

#include <simulator/VirtualWall.h>

#include <array>
#include <vector>

/// What a wall remembers: plain values without locks.
namespace Simulator {

constexpr int valuesPerPixel = 9;
constexpr int kindCount = 3;
constexpr int storeCount = 5;

/// The coefficients of one kind of one cabinet: a plane of raw bytes for each store. Copies between stores share
/// memory.
class Planes
{
public:
    Planes() = default;
    /// Whether a plane is not too large for one byte array.
    static bool fits(const QSize &size, int bytesPerPixel);
    /// A size that does not fit becomes an empty one.
    Planes(const QSize &size, int bytesPerPixel);

    int bytesPerPixel() const { return m_bytesPerPixel; }
    QSize size() const { return m_size; }
    /// Where the working values come from.
    Store shown() const { return m_shown; }

    /// The whole plane; where nothing was written, made of `pixel` (see VirtualWall::setDefaultPixel()).
    QByteArray bytes(Store store, const QByteArray &pixel) const;
    /// The rows of a band of the working plane.
    QByteArray band(int firstRow, int rows, const QByteArray &pixel) const;
    /// False, and nothing changed, unless the size fits.
    bool setBytes(Store store, const QByteArray &bytes);
    /// Pastes a block, which must lie inside the plane and have the rectangle's size, into the working plane.
    void paste(const QRect &rect, const QByteArray &block, const QByteArray &pixel);
    void copy(Store from, Store to);
    /// Working and user store.
    void clear();
    void clear(Store store);

private:
    /// A store without bytes consists of default pixels.
    QByteArray &at(Store store) { return m_stores[static_cast<std::size_t>(store)]; }
    const QByteArray &at(Store store) const { return m_stores[static_cast<std::size_t>(store)]; }

    QSize m_size;
    int m_bytesPerPixel = 0;
    Store m_shown = Store::Working;
    std::array<QByteArray, storeCount> m_stores;
};

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

struct DeviceState {
    explicit DeviceState(const Device &device);

    Device description;
    QMap<QString, CabinetState> cabinets; ///< By cabinet id.
    int brightness = 0;
    int effectMode = 0;
    std::array<QList<int>, 3> gamma; ///< By Channel.
    int xBitMode = 0;
    bool xBitEnabled = false;
    bool ablEnabled = false;
    int imageMode = 0;
    QString lockOwner;
    Pattern pattern;

    bool plugged = true;
    quint64 powerLosses = 0;       ///< Calls under way when it changes are lost.
    Timing timing;                 ///< The personality's included.
    std::vector<ScriptData> rules; ///< Faults: the last one that applies counts.
    qint64 busyUntil = 0;          ///< Microseconds of the wall's clock.

    /// Null for an unknown id, here and below.
    Cabinet *describedCabinet(const QString &cabinetId);
    Module *describedModule(const QString &cabinetId, const QString &moduleId);
};

/// Starts a device, which has lost what it had not saved.
void powerUp(DeviceState &device);

struct WallState {
    QList<DeviceState> devices; ///< Those that are unplugged, too.
    bool discovering = false;
    QString title;
    QList<Event> events; ///< All that were described or added; see Wall for those to come.
    quint64 seed = 1;
    double chaos = 0.0;
    int replyBlockHeight = 0;
    std::array<QByteArray, kindCount> defaultPixels;

    const QByteArray &defaultPixel(Kind kind) const { return defaultPixels[static_cast<std::size_t>(kind)]; }
    DeviceState *device(const QString &deviceKey);
    const DeviceState *device(const QString &deviceKey) const;
    const CabinetState *cabinet(const QString &deviceKey, const QString &cabinetId) const;
    CabinetState *cabinet(const QString &deviceKey, const QString &cabinetId);
};

} // namespace Simulator
