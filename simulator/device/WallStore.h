#pragma once

#include "faults/Rules.h"

#include <simulator/VirtualWall.h>

#include <QtCore/QHash>

#include <array>
#include <vector>

/// What a wall remembers: plain values without locks.
namespace Simulator {

constexpr int valuesPerPixel = 9;
constexpr int kindCount = 3;
constexpr int storeCount = 5;
/// The stores that outlive a restart: all but Working.
constexpr std::array<Store, 4> lastingStores{Store::User, Store::Factory, Store::Module, Store::Flash};

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

    /// What a store holds: a whole plane, or nothing where it consists of default pixels.
    const QByteArray &stored(Store store) const { return at(store); }
    /// Whether a store consists of copies of `pixel`.
    bool isDefault(Store store, const QByteArray &pixel) const;
    /// The length of a whole plane in bytes.
    int byteCount() const { return m_size.width() * m_size.height() * m_bytesPerPixel; }
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

/// A device. docs/store.md says what each operation reads and writes, and what outlives a restart.
struct DeviceState {
    /// As delivered: every store and setting at its default.
    explicit DeviceState(const Device &device);

    /// What happens when the power comes back, and when a saved wall is opened: every cabinet shows its User store;
    /// lock, test image and image mode are gone. A device that forgets on restart is as delivered but for Factory, Module
    /// and Flash and the flash check codes.
    void powerUp();

    Device original;                      ///< As described, with the screen name and the flags that it was delivered with.
    Device description;                   ///< With those that were set since.
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

    /// Null for an unknown id, here and below. Of cabinets with one id the first.
    const Cabinet *describedCabinet(const QString &cabinetId) const;
    Cabinet *describedCabinet(const QString &cabinetId);
    const Module *describedModule(const QString &cabinetId, const QString &moduleId) const;
    Module *describedModule(const QString &cabinetId, const QString &moduleId);
    /// The same of `original`.
    const Cabinet *deliveredCabinet(const QString &cabinetId) const;
    /// The id whose number this is, such as "007" for 7; null for none.
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
