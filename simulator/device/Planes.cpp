#include "Planes.h"

#include <cstring>

namespace Simulator {

namespace {

/// A size, in bytes, that fits into every QByteArray.
constexpr int largestPlane = 0x7fffff00;

/// `bytes` bytes made of copies of a pixel of `bytesPerPixel` bytes.
QByteArray filled(int bytes, int bytesPerPixel, QByteArray pixel)
{
    QByteArray result(bytes, '\0');
    if (pixel.isEmpty())
        return result;
    const int given = pixel.size();
    pixel.resize(bytesPerPixel);
    for (int i = given; i < bytesPerPixel; ++i)
        pixel[i] = '\0';
    for (int i = 0; i < bytes; i += bytesPerPixel)
        std::memcpy(result.data() + i, pixel.constData(), static_cast<std::size_t>(bytesPerPixel));
    return result;
}

} // namespace

bool Planes::fits(const QSize &size, int bytesPerPixel)
{
    return size.isValid() && bytesPerPixel > 0
           && (size.isEmpty() || size.width() <= largestPlane / bytesPerPixel / size.height());
}

Planes::Planes(const QSize &size, int bytesPerPixel)
    : m_size(fits(size, bytesPerPixel) ? size : QSize(0, 0)), m_bytesPerPixel(bytesPerPixel)
{
}

bool Planes::isDefault(Store store, const QByteArray &pixel) const
{
    if (at(store).isEmpty())
        return true;
    const QByteArray plane = at(store).bytes();
    // The first pixel is compared with `pixel`, every other one with the one before it.
    return plane.startsWith(filled(m_bytesPerPixel, m_bytesPerPixel, pixel))
           && std::memcmp(plane.constData(), plane.constData() + m_bytesPerPixel,
                          static_cast<std::size_t>(plane.size() - m_bytesPerPixel))
                  == 0;
}

QByteArray Planes::bytes(Store store, const QByteArray &pixel) const
{
    const Plane &plane = at(store);
    return plane.isEmpty() ? filled(byteCount(), m_bytesPerPixel, pixel) : plane.bytes();
}

bool Planes::setBytes(Store store, const QByteArray &bytes)
{
    if (bytes.size() != byteCount())
        return false;
    at(store) = Plane(bytes);
    if (store == Store::Working)
        m_shown = Store::Working;
    return true;
}

void Planes::prepare(const QRect &rect)
{
    if (at(Store::Working).isInFile() && !covers(rect))
        at(Store::Working) = Plane(at(Store::Working).bytes());
}

void Planes::paste(const QRect &rect, const QByteArray &block, const QByteArray &pixel,
                   const std::shared_ptr<Disk::Scratch> &scratch)
{
    Plane &plane = at(Store::Working);
    if (covers(rect)) {
        plane = Plane(block, scratch);
        m_shown = Store::Working;
        return;
    }
    if (plane.isEmpty() || plane.isInFile())
        plane = Plane(bytes(Store::Working, pixel));
    char *const values = plane.data();
    const qptrdiff stride = qptrdiff(rect.width()) * m_bytesPerPixel;
    for (int row = 0; row < rect.height(); ++row) {
        const qptrdiff target = (qptrdiff(rect.y() + row) * m_size.width() + rect.x()) * m_bytesPerPixel;
        std::memcpy(values + target, block.constData() + row * stride, static_cast<std::size_t>(stride));
    }
    m_shown = Store::Working;
}

void Planes::copy(Store from, Store to)
{
    at(to) = at(from);
    if (to == Store::Working)
        m_shown = from;
}

void Planes::clear()
{
    clear(Store::Working);
    clear(Store::User);
}

void Planes::clear(Store store)
{
    at(store) = Plane();
    if (store == Store::Working)
        m_shown = Store::Working;
}

} // namespace Simulator
