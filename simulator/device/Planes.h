#pragma once

#include "Plane.h"

#include <simulator/StateTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QRect>
#include <QtCore/QSize>

#include <array>
#include <cstddef>

namespace Simulator {

constexpr int valuesPerPixel = 9;
constexpr int kindCount = 3;
constexpr int storeCount = 5;
/// The stores that survive a restart: all but Working.
constexpr std::array<Store, 4> lastingStores{Store::User, Store::Factory, Store::Module, Store::Flash};

/// The coefficients of one kind of one cabinet: a plane of raw bytes for each store. Copies between stores share
/// them. Functions that use the bytes of a plane throw as Plane::bytes().
class Planes
{
public:
    Planes() = default;
    /// Whether a plane fits into one byte array.
    static bool fits(const QSize &size, int bytesPerPixel);
    /// A size that does not fit becomes an empty one.
    Planes(const QSize &size, int bytesPerPixel);

    int bytesPerPixel() const { return m_bytesPerPixel; }
    QSize size() const { return m_size; }
    /// The store that the working values were copied from.
    Store shown() const { return m_shown; }

    /// A whole plane, or empty when the store consists of default pixels.
    const Plane &stored(Store store) const { return at(store); }
    /// Whether a store consists of copies of `pixel`.
    bool isDefault(Store store, const QByteArray &pixel) const;
    /// The length of a whole plane in bytes.
    int byteCount() const { return m_size.width() * m_size.height() * m_bytesPerPixel; }
    /// The whole plane; where nothing was written, made of `pixel` (see State::setDefaultPixel()).
    QByteArray bytes(Store store, const QByteArray &pixel) const;
    /// False, and nothing changed, unless the size fits.
    bool setBytes(Store store, const QByteArray &bytes);
    /// Of the right size.
    void setStored(Store store, const Plane &plane) { at(store) = plane; }
    /// Reads what paste() needs besides the block, so that it throws no Refusal.
    void prepare(const QRect &rect);
    /// Pastes a block, which must be inside the plane and have the rectangle's size, into the working plane. A whole plane
    /// goes to `scratch`, unless that is null.
    void paste(const QRect &rect, const QByteArray &block, const QByteArray &pixel,
               const std::shared_ptr<Disk::Scratch> &scratch);
    void copy(Store from, Store to);
    /// Working and user store.
    void clear();
    void clear(Store store);

private:
    /// A store without bytes consists of default pixels.
    Plane &at(Store store) { return m_stores[static_cast<std::size_t>(store)]; }
    const Plane &at(Store store) const { return m_stores[static_cast<std::size_t>(store)]; }

    bool covers(const QRect &rect) const { return rect == QRect(QPoint(0, 0), m_size); }

    QSize m_size;
    int m_bytesPerPixel = 0;
    Store m_shown = Store::Working;
    std::array<Plane, storeCount> m_stores;
};

} // namespace Simulator
