#include "Replies.h"

#include <Correction/CabinetInfo.h>
#include <Correction/CabinetManager.h>
#include <Correction/Enumerations.h>
#include <Correction/ICabinet.h>

#include <QtCore/QRect>

#include <algorithm>
#include <limits>
#include <vector>

using namespace Correction;

namespace Ctl {

namespace {

constexpr int bytesPerPixel = chromaPixelLength * int(sizeof(quint16));

/// Whether base64 holds so many bytes: like the library, it leaves out characters that are not base64.
bool hasBytes(const QString &text, qint64 bytes)
{
    const ushort *const codes = text.utf16();
    ushort foreign = 0; // no branches, so that the compiler makes vector instructions of the loop
    for (int i = 0; i < text.size(); ++i) {
        const ushort code = codes[i];
        const auto letter = ushort((code | 0x20) - 'a');
        const auto digit = ushort(code - '0');
        foreign |= ushort((letter >= 26) & (digit >= 10) & (code != '+') & (code != '/'));
    }
    if (foreign == 0)
        return qint64(text.size()) / 4 * 3 >= bytes;
    return QByteArray::fromBase64(text.toLatin1()).size() >= bytes;
}

/// The pixels of a cabinet in blocks that have a value for each of their pixels.
qint64 receivedPixels(const QVariantList &blocks, const QSize &cabinet)
{
    const qint64 all = qint64(cabinet.width()) * cabinet.height();
    std::vector<bool> received; // where it takes several blocks
    for (const QVariant &element : blocks) {
        const QVariantMap block = element.toMap();
        const auto number = [&block](const char *key) { return qint64(block.value(QLatin1String(key)).toInt()); };
        const qint64 x = number("area.point.x");
        const qint64 y = number("area.point.y");
        const qint64 width = number("area.size.width");
        const qint64 height = number("area.size.height");
        // The library refuses a block that does not fit into the cabinet.
        if (x < 0 || y < 0 || width <= 0 || height <= 0 || x + width > cabinet.width() || y + height > cabinet.height())
            continue;
        if (!hasBytes(block.value(QStringLiteral("coefficients")).toString(), width * height * bytesPerPixel))
            continue;
        if (width * height == all)
            return all;
        received.resize(std::size_t(all));
        for (qint64 row = y; row < y + height; ++row) {
            const auto first = received.begin() + row * cabinet.width() + x;
            std::fill(first, first + width, true);
        }
    }
    return std::count(received.cbegin(), received.cend(), true);
}

QStringList idsOf(const QVariantList &cabinets, const char *key)
{
    QStringList ids;
    for (const QVariant &cabinet : cabinets)
        ids.append(cabinet.toMap().value(QLatin1String(key)).toString());
    return ids;
}

} // namespace

QString damageOf(const QString &operation, const QString &device, const QString &cabinet, const QVariant &reply)
{
    if (operation == QLatin1String("Correctionop::loadCoefficient")) {
        CabinetInfo info;
        ICabinet *const known = CabinetManager::getInstance()->tryGetCabinet(cabinet);
        if (!known || known->GetCabinetInfo(info) != enSuccess || info.deviceKey != device || info.rect.isEmpty())
            return {};
        const qint64 pixels = qint64(info.rect.width()) * info.rect.height();
        if (pixels > std::numeric_limits<int>::max() / bytesPerPixel)
            return {}; // the library reads no cabinet of this size
        const qint64 received = receivedPixels(reply.toList(), info.rect.size());
        return received == pixels
                   ? QString()
                   : QStringLiteral("whole blocks for %1 of the cabinet's %2 pixels").arg(received).arg(pixels);
    }
    const auto lacks = [&reply](const char *key, QMetaType::Type type) {
        QVariant value = reply.toMap().value(QLatin1String(key));
        return value.convert(type) ? QString() : QStringLiteral("it has no \"%1\"").arg(QLatin1String(key));
    };
    if (operation == QLatin1String("Correctionop::getCabinetEffectMode"))
        return lacks("mode", QMetaType::Int);
    if (operation == QLatin1String("CabinetInfoOperator::getConfigFile"))
        return lacks("config", QMetaType::QString);
    return {};
}

QStringList listedCabinets(const QVariant &reply)
{
    return idsOf(reply.toList(), "id");
}

QStringList placedCabinets(const QVariant &reply)
{
    QStringList ids;
    const QVariantList parts = reply.toMap().value(QStringLiteral("subScreens")).toList();
    for (const QVariant &part : parts)
        ids += idsOf(part.toMap().value(QStringLiteral("cabinets")).toList(), "cabinetID");
    return ids;
}

} // namespace Ctl
