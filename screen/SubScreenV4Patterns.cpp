// Test patterns: the part of a screen-wide pattern on this sub-screen, in its own frame and with the phase of the whole
// pattern.

#include <Correction/SubScreenV4.h>

#include "cabinet/DeviceCall.h"
#include "model/Arithmetic.h"
#include "model/Logging.h"
#include "screen/Drawing.h"

#include <service/ScreenInfo.h>

namespace Correction {
namespace {

QVariantMap rectMap(const QRect &rect)
{
    return variantMap({{QStringLiteral("x"), rect.x()},
                       {QStringLiteral("y"), rect.y()},
                       {QStringLiteral("width"), widthOf(rect)},
                       {QStringLiteral("height"), heightOf(rect)}});
}

/// A rectangle as log items: its numbers with their labels.
struct Labelled {
    const QRect &rect;
};

QDebug operator<<(QDebug stream, const Labelled &labelled)
{
    const QRect &rect = labelled.rect;
    return stream << "x:" << rect.x() << "y:" << rect.y() << "w:" << widthOf(rect) << "h:" << heightOf(rect);
}

bool (ScreenInfo::*const drawCheckerboard)(const QString &, const QVariantMap &,
                                           QVariantMap &) = &ScreenInfo::setCheckerBoardImage;

} // namespace

EnumErrorCode SubScreenV4::setPixelImage(DrawingParameter param)
{
    const QRect &pattern = param.screenPartRect;
    const QRect &block = param.pixelBlockInRect;
    qCDebug(lcCorrection) << "call setPixelImage() start  "
                          << "param.screenPartRect " << Labelled{pattern}
                          << "pixelBlockIntervalX:" << param.pixelBlockIntervalX
                          << "pixelBlockIntervalY:" << param.pixelBlockIntervalY;
    qCDebug(lcCorrection) << "call setPixelImage() start  "
                          << "param.pixelBlockInRect " << Labelled{block};
    QRect subScreen;
    const EnumErrorCode code = tryGetRect(subScreen);
    qCDebug(lcCorrection) << "call setPixelImage() "
                          << "subScreen " << Labelled{subScreen};
    if (code != enSuccess) {
        logFailure("Failed to get screen rect. id:%1", m_deviceKey);
        return code;
    }

    QRect region;
    QPoint firstBlock;
    QColor color;
    if (!subScreen.intersects(pattern)) {
        qCDebug(lcCorrection) << "call setPixelImage intersects() not find  subScreen "
                              << "w:" << widthOf(subScreen) << "h:" << heightOf(subScreen);
        region = rectOf(0, 0, widthOf(subScreen), heightOf(subScreen));
        color = QColor(0, 0, 0);
    } else {
        const QRect part = subScreen.intersected(pattern);
        qCDebug(lcCorrection) << "call setPixelImage() partRect "
                              << "partRect " << Labelled{part};
        const auto phaseX = Drawing::blockPhase(wrapSub(part.x(), pattern.x()), widthOf(block), param.pixelBlockIntervalX);
        const auto phaseY = Drawing::blockPhase(wrapSub(part.y(), pattern.y()), heightOf(block), param.pixelBlockIntervalY);
        if (!phaseX || !phaseY) {
            logFailure("pixel image without a period. device:%1", m_deviceKey);
            return enArgumentMismatch;
        }
        region = relativeTo(part, subScreen.topLeft());
        firstBlock = QPoint(wrapAdd(*phaseX, block.x()), wrapAdd(*phaseY, block.y()));
        color = param.color;
    }
    const QVariantMap request = variantMap({
        {QStringLiteral("regionrect"), rectMap(region)},
        {QStringLiteral("singlerect"), rectMap(rectOf(firstBlock.x(), firstBlock.y(), widthOf(block), heightOf(block)))},
        {QStringLiteral("color"), Drawing::colorMap(color)},
        {QStringLiteral("intervalX"), param.pixelBlockIntervalX},
        {QStringLiteral("intervalY"), param.pixelBlockIntervalY},
    });
    return callDevice(FailureLine{"setPixelImage timeout. device:%1", m_deviceKey}, &ScreenInfo::setPixelImage, m_deviceKey,
                      request, IgnoredReply());
}

EnumErrorCode SubScreenV4::setCheckerboardlImage(DrawingCheckerboard param)
{
    const QRect &board = param.regionRect;
    qCDebug(lcCorrection) << "call SubScreenV4::setCheckerboardlImage() start  "
                          << "param.regionRect " << board.x() << "y:" << board.y() << "w:" << widthOf(board)
                          << "h:" << heightOf(board);
    QRect subScreen;
    const EnumErrorCode code = tryGetRect(subScreen);
    if (code != enSuccess) {
        logFailure("call SubScreenV4::setCheckerboardlImage() Failed to get screen rect. id:%1", m_deviceKey);
        return code;
    }
    if (!subScreen.intersects(board)) {
        qCDebug(lcCorrection) << "call setCheckerboardlImage intersects() not find  subScreen "
                              << "w:" << widthOf(subScreen) << "h:" << heightOf(subScreen);
        return callDevice(FailureLine{"call setCorrectClearImage timeout. device:%1", m_deviceKey},
                          &ScreenInfo::setCorrectClearImage, m_deviceKey, QVariantMap());
    }

    QRect part = subScreen.intersected(board);
    qCDebug(lcCorrection) << "call SubScreenV4::setCheckerboardlImage() partRect "
                          << "partRect " << Labelled{part};
    const int absX = wrapSub(part.x(), board.x());
    const int absY = wrapSub(part.y(), board.y());
    qCDebug(lcCorrection) << " "
                          << "absX:" << absX << "absY:" << absY << "squareW:" << param.squareW << "squareH:" << param.squareH
                          << "lastSquareColumnW:" << param.lastSquareColumnW << "lastSquareRowH:" << param.lastSquareRowH;
    if (!Drawing::hasPhase(param)) {
        logFailure("checkerboard without colours or squares. device:%1", m_deviceKey);
        return enArgumentMismatch;
    }
    int firstSquareW = 0;
    int firstSquareH = 0;
    int lastSquareColumnW = 0;
    int lastSquareRowH = 0;
    QVariantList regionColor;
    param.CalcRegionWH(absX, absY, firstSquareW, firstSquareH, lastSquareColumnW, lastSquareRowH, part, regionColor);
    qCDebug(lcCorrection) << "call CalcRegionWH() "
                          << "firstSquareW:" << firstSquareW << "firstSquareH:" << firstSquareH
                          << "lastSquareColumnW:" << lastSquareColumnW << "lastSquareRowH:" << lastSquareRowH;

    const QVariantMap request = variantMap({
        {QStringLiteral("regionRect"), rectMap(relativeTo(part, subScreen.topLeft()))},
        {QStringLiteral("firstSquareW"), firstSquareW},
        {QStringLiteral("firstSquareH"), firstSquareH},
        {QStringLiteral("regionColor"), regionColor},
        {QStringLiteral("squareW"), param.squareW},
        {QStringLiteral("squareH"), param.squareH},
        {QStringLiteral("lastSquareColumnW"), lastSquareColumnW},
        {QStringLiteral("lastSquareRowH"), lastSquareRowH},
    });
    return callDevice(FailureLine{"call setCheckerBoardImage() fail. timeout. device:%1", m_deviceKey}, drawCheckerboard,
                      m_deviceKey, request, IgnoredReply());
}

EnumErrorCode SubScreenV4::setPixelImageMode(unsigned char mode)
{
    return callDevice(FailureLine{"setPixelImageMode timeout. device:%1", m_deviceKey}, &ScreenInfo::setPixelImageMode,
                      m_deviceKey, variantMap({{QStringLiteral("mode"), int(mode)}}), IgnoredReply());
}

} // namespace Correction
