#include "Check.h"

#include <Correction/Enumerations.h>

#include <QtGui/QRegion>

namespace ServiceCheck {

namespace {

constexpr int chromaBytesPerPixel = Correction::chromaPixelLength * int(sizeof(quint16));

constexpr Operation::Id cabinetReads[] = {Operation::Correctionop_loadCoefficient,
                                          Operation::Correctionop_loadMultilayerCoefficient,
                                          Operation::Correctionop_getCabinetEffectMode,
                                          Operation::Correctionop_getFlashCheckCode,
                                          Operation::CabinetInfoOperator_getCabinetBrightnessRange,
                                          Operation::CabinetInfoOperator_getCabinetGammaCustomValue,
                                          Operation::CabinetInfoOperator_getConfigFile};

/// Checks the blocks of a coefficient reply against the cabinet's size. `bytesPerPixel` 0: the device's own number.
void checkBlocks(Exchange &exchange, const QSize &cabinet, int bytesPerPixel)
{
    if (!exchange.isAnswered() || !exchange.isGood())
        return;
    const QRect whole(QPoint(0, 0), cabinet);
    QRegion covered;
    const QVariantList blocks = exchange.reply().toList();
    for (const QVariant &element : blocks) {
        const QVariantMap block = element.toMap();
        const qint64 x = block.value(QStringLiteral("area.point.x")).toInt();
        const qint64 y = block.value(QStringLiteral("area.point.y")).toInt();
        const qint64 width = block.value(QStringLiteral("area.size.width")).toInt();
        const qint64 height = block.value(QStringLiteral("area.size.height")).toInt();
        const QString name = QStringLiteral("block %1,%2 %3x%4").arg(x).arg(y).arg(width).arg(height);
        if (x < 0 || y < 0 || width <= 0 || height <= 0 || x + width > cabinet.width() || y + height > cabinet.height()) {
            exchange.bad(Finding::BlockOutside, QStringLiteral("%1 is not inside the cabinet of %2x%3")
                                                    .arg(name)
                                                    .arg(cabinet.width())
                                                    .arg(cabinet.height()));
            return;
        }
        covered += QRect(int(x), int(y), int(width), int(height));
        const qint64 bytes = QByteArray::fromBase64(block.value(QStringLiteral("coefficients")).toString().toUtf8()).size();
        const qint64 pixels = width * height;
        const qint64 expected = bytesPerPixel ? pixels * bytesPerPixel : qMax<qint64>(1, bytes / pixels) * pixels;
        if (bytes != expected)
            exchange.bad(bytes < expected ? Finding::ShortBlock : Finding::LongBlock,
                         QStringLiteral("%1 has %2 bytes, not %3").arg(name).arg(bytes).arg(expected));
    }
    if (covered != QRegion(whole))
        exchange.bad(
            Finding::NotCovered,
            QStringLiteral("the blocks do not cover the cabinet of %1x%2").arg(cabinet.width()).arg(cabinet.height()));
}

} // namespace

void Check::read(Device &device)
{
    Exchange features = ask(Operation::CabinetInfoOperator_getCabinetsBaseInfo, device.key);
    if (features.isGood()) {
        const QVariantList kinds = features.reply().toList();
        device.hasMultilayer = false;
        for (const QVariant &kind : kinds) {
            const QVariantMap table = kind.toMap().value(QStringLiteral("functionTable")).toMap();
            device.hasMultilayer |= table.value(QStringLiteral("multilayercorrection")).toBool();
        }
        if (kinds.isEmpty())
            features.bad(Finding::EmptyReply, QStringLiteral("the list is empty"));
    }
    features.finish(m_report);
    readState(Operation::ScreenInfo_getGammaAllList, device, {}).finish(m_report);

    Exchange checkerboard = ask(Operation::ScreenInfo_setCheckerBoardImage_Headers, device.key, {}, QVariantMap());
    const QMap<QString, QString> &headers = checkerboard.call().headers;
    const bool isRefused =
        !checkerboard.isAnswered() && headers.value(QStringLiteral("HttpResponse_StateCode")) == QLatin1String("404");
    if (checkerboard.isGood() && !isRefused && headers.size() <= 1)
        checkerboard.bad(Finding::NoHeaders, QStringLiteral("%1 response headers").arg(headers.size()));
    device.hasCheckerboard = checkerboard.isGood() && !isRefused;
    checkerboard.finish(m_report, isRefused
                                      ? QStringLiteral("status 404: ISubScreen::isCheckerboardlImage returns enNotSupported")
                                      : QStringLiteral("%1 response headers").arg(headers.size()));

    const int count = m_options.allCabinets ? device.cabinets.size() : qMin(1, device.cabinets.size());
    for (int i = 0; i < count; ++i) {
        for (const Operation::Id operation : cabinetReads) {
            if (operation == Operation::Correctionop_loadMultilayerCoefficient && !device.hasMultilayer)
                skip(operation, device.key, QStringLiteral("the device has no multilayer correction"));
            else
                readState(operation, device, device.cabinets[i]).finish(m_report);
        }
    }
}

Exchange Check::readState(Operation::Id operation, const Device &device, const Cabinet &cabinet) const
{
    const Adapter::Operation &row = Adapter::operations()[operation];
    QString target;
    if (row.address == Adapter::Address::Cabinet)
        target = cabinet.id;
    else if (row.address == Adapter::Address::Screen)
        target = QStringLiteral("0"); // the selector under which the service keeps a device's gamma tables
    Exchange exchange =
        ask(operation, device.key, target, row.request == Adapter::Form::Map ? QVariant(QVariantMap()) : QVariant());
    if (operation == Operation::Correctionop_loadCoefficient)
        checkBlocks(exchange, cabinet.size, chromaBytesPerPixel);
    else if (operation == Operation::Correctionop_loadMultilayerCoefficient)
        checkBlocks(exchange, cabinet.size, 0);
    return exchange;
}

} // namespace ServiceCheck
