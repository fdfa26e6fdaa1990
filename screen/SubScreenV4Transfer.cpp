// Coefficients by rectangle. Three frames are used here: a cabinet's own, the sub-screen's (the union of its cabinets), and
// the request's. Reading fills the caller's grid in the sub-screen's frame, writing takes blocks out of it in the request's.

#include <Correction/SubScreenV4.h>

#include <Correction/CoefficientPtr.h>

#include "cabinet/DeviceCall.h"
#include "model/Arithmetic.h"
#include "model/Codec.h"
#include "model/Logging.h"
#include "screen/CabinetGrid.h"
#include "screen/SubScreenCabinets.h"
#include "screen/SubScreenWrite.h"

#include <QtCore/QThread>

#include <memory>
#include <optional>

namespace Correction {
namespace {

using AsyncUpload = QtPromise::QPromise<bool> (Correctionop::*)(const QString &, const QVariantList &);

struct AsyncUploadRow {
    EnumCoefficientType kind;
    AsyncUpload operation;
    const char *failure;
};

constexpr AsyncUploadRow asyncUploadRows[] = {
    {enCommonCoefficient, &Correctionop::uploadCoefficientAsync, "call uploadCoefficientAsync() timeout. device:%1"},
    {enMultilayerCoefficient, &Correctionop::uploadMultilayerCoefficientAsync,
     "call uploadMultilayerCoefficientAsync() timeout. device:%1"},
    {enLowgrayCoefficient, &Correctionop::uploadLowGrayCoefficientAsync,
     "call uploadLowGrayCoefficientAsync() timeout. device:%1"},
};

/// The block of a write for one cabinet; null, with a critical line, on failure.
CoefficientPtr cutBlock(ICoefficient &coefficient, const QRect &overlap, const QRect &rect, const QString &id,
                        const CabinetInfo &info)
{
    CoefficientPtr block(coefficient.tryGetPart(relativeTo(overlap, rect.topLeft())));
    if (!block)
        logFailure("Failed to get part coefficient. sreenId:%1 cabinetId:%2", id, info.id);
    return block;
}

/// Top-left pixel of a block in its cabinet.
QPoint pointIn(const CabinetInfo &info, const QRect &overlap)
{
    return relativeTo(overlap, info.rect.topLeft()).topLeft();
}

/// False for a block whose values do not fit into one QString as base64.
bool appendUpload(const CabinetInfo &info, const QPoint &point, ICoefficient &block, QVariantList &request)
{
    const QVariantMap size =
        variantMap({{QStringLiteral("height"), block.getPixelRow()}, {QStringLiteral("width"), block.getPixelCol()}});
    const QVariantMap area = variantMap(
        {{QStringLiteral("size"), size},
         {QStringLiteral("point"), variantMap({{QStringLiteral("x"), point.x()}, {QStringLiteral("y"), point.y()}})}});
    QString text;
    if (!Codec::tryEncode(block, text))
        return false;
    const QVariantMap entry = variantMap({{QStringLiteral("area"), area}, {QStringLiteral("coefficient"), text}});
    request.append(variantMap(
        {{QStringLiteral("cid"), info.id.toLongLong()}, {QStringLiteral("coefficientList"), QVariantList{entry}}}));
    return true;
}

void logRect(const char *label, const QRect &rect)
{
    qCDebug(lcCorrection) << label << rect.x() << rect.y() << widthOf(rect) << heightOf(rect);
}

EnumErrorCode uploaded(const AsyncUploadRow &row, const QString &deviceKey, bool taken)
{
    if (taken)
        return enSuccess;
    logFailure(row.failure, deviceKey);
    return enTimeout;
}

/// One upload for the whole device. `follow(row, promise)` follows the upload that was started; what it returns is the
/// result.
template <class Follow>
QtPromise::QPromise<EnumErrorCode> upload(const QString &deviceKey, const QVariantList &request, EnumCoefficientType kind,
                                          Follow follow)
{
    if (request.isEmpty()) {
        qCDebug(lcCorrection) << "setCoefficientsAsync cid is 0 ";
        return QtPromise::resolve(enSuccess);
    }
    for (const AsyncUploadRow &row : asyncUploadRows) {
        if (row.kind != kind)
            continue;
        if (kind == enMultilayerCoefficient && lcCorrection().isDebugEnabled()) {
            const auto thread = reinterpret_cast<quintptr>(QThread::currentThreadId());
            qDebug(lcCorrection).noquote() << QStringLiteral("setCoefficientsAsync thread id =%1").arg(thread);
        }
        std::optional<QtPromise::QPromise<EnumErrorCode>> result;
        callService<Correctionop>([&](Correctionop &service) {
            result = follow(row, (service.*row.operation)(deviceKey, request));
            return true;
        });
        return result ? *result : QtPromise::resolve(uploaded(row, deviceKey, false));
    }
    return QtPromise::resolve(enNotSupported);
}

} // namespace

EnumErrorCode SubScreenV4::tryGetCoefficients(const QRect &rect, ICoefficient &coefficient)
{
    QRect subScreen;
    const EnumErrorCode code = tryGetRect(subScreen);
    if (code != enSuccess) {
        logFailure("Failed to get screen rect. id:%1", m_deviceKey);
        return code;
    }
    return forEachDescription(
        m_cabinets, m_deviceKey, [&](const QString &id, ICabinet &cabinet, const CabinetInfo &info) -> EnumErrorCode {
            if (!info.rect.intersects(rect))
                return enSuccess;
            const QRect overlap = info.rect.intersected(rect);
            qCDebug(lcCorrection) << "Correction::SubScreenV4::tryGetCoefficients"
                                  << "insRect x:" << overlap.x() << "y:" << overlap.y() << "w:" << widthOf(overlap) << "h"
                                  << heightOf(overlap);

            const EnumCoefficientType type = coefficient.getType();
            const CoefficientPtr grid = gridFor(cabinet, type, info.rect);
            if (!grid) {
                logFailure("Failed to create coefficient. cabinet key: %1 Coefficient type:%2", id, type);
                return enNotSupported;
            }
            const EnumErrorCode read = cabinet.tryGetCoefficients(*grid);
            if (read != enSuccess) {
                logFailure("Failed to get coefficient. cabinet key: %1 code: %2", id, read);
                return read;
            }
            const CoefficientPtr block(grid->tryGetPart(relativeTo(overlap, info.rect.topLeft())));
            if (!block) {
                qCCritical(lcCorrection) << "Failed to tryGetPart";
                return enInvalidParameter;
            }
            const EnumErrorCode pasted = coefficient.setPartCoefficient(relativeTo(overlap, subScreen.topLeft()), *block);
            if (pasted != enSuccess)
                logFailure("Failed to set part of coefficient. cabinet key: %1", id);
            return pasted;
        });
}

EnumErrorCode SubScreenV4::setCoefficients(const QRect &rect, ICoefficient &coefficient)
{
    QRect subScreen;
    const EnumErrorCode code = tryGetRect(subScreen);
    if (code != enSuccess) {
        logFailure("Cabinet info is empty. id:%1", m_deviceKey);
        return code;
    }
    return forEachDescription(m_cabinets, m_deviceKey,
                              [&](const QString &id, ICabinet &cabinet, const CabinetInfo &info) -> EnumErrorCode {
                                  if (!info.rect.intersects(rect))
                                      return enSuccess;
                                  const QRect overlap = info.rect.intersected(rect);
                                  const CoefficientPtr block = cutBlock(coefficient, overlap, rect, id, info);
                                  if (!block)
                                      return enInvalidParameter;
                                  const EnumErrorCode written = cabinet.setCoefficients(pointIn(info, overlap), *block);
                                  if (written != enSuccess)
                                      logFailure("Failed to set cabinet coefficient. sreenId:%1 cabinetId:%2", id, info.id);
                                  return written;
                              });
}

template <class Follow>
QtPromise::QPromise<EnumErrorCode> SubScreenWrite::start(SubScreenV4 &subScreen, const QRect &rect,
                                                         ICoefficient &coefficient, Follow follow)
{
    const OperationScope scope;
    const QString deviceKey = subScreen.m_deviceKey;
    QRect subScreenRect;
    if (subScreen.tryGetRect(subScreenRect) != enSuccess) {
        logFailure("Cabinet info is empty. id:%1", deviceKey);
        return QtPromise::resolve(enInvalidParameter);
    }
    QVariantList request;
    const EnumErrorCode code = forEachDescription(
        subScreen.m_cabinets, deviceKey, [&](const QString &id, ICabinet &, const CabinetInfo &info) -> EnumErrorCode {
            logRect(" cabInfo.rect.intersects ", info.rect);
            if (!info.rect.intersects(rect))
                return enSuccess;
            const QRect overlap = info.rect.intersected(rect);
            logRect(" inRect", overlap);
            logRect(" yuan Rect", rect);
            const CoefficientPtr block = cutBlock(coefficient, overlap, rect, id, info);
            if (!block)
                return enInvalidParameter;
            return appendUpload(info, pointIn(info, overlap), *block, request) ? enSuccess : enInvalidParameter;
        });
    return code == enSuccess ? upload(deviceKey, request, coefficient.getType(), follow) : QtPromise::resolve(code);
}

QtPromise::QPromise<EnumErrorCode> SubScreenWrite::start(SubScreenV4 &subScreen, const QRect &rect,
                                                         ICoefficient &coefficient)
{
    const auto follow = [deviceKey = subScreen.m_deviceKey](const AsyncUploadRow &row,
                                                            const QtPromise::QPromise<bool> &promise) {
        return promise.then([&row, deviceKey](bool taken) { return uploaded(row, deviceKey, taken); },
                            [&row, deviceKey] { return uploaded(row, deviceKey, false); });
    };
    return start(subScreen, rect, coefficient, follow);
}

QtPromise::QPromise<EnumErrorCode> SubScreenV4::setCoefficientsAsync(const QRect &rect, ICoefficient &coefficient)
{
    const auto follow = [deviceKey = m_deviceKey](const AsyncUploadRow &row, const QtPromise::QPromise<bool> &promise) {
        const auto taken = std::make_shared<bool>(false); // stays false when the upload is rejected
        promise.then([taken](bool value) { *taken = value; }).wait();
        return QtPromise::resolve(uploaded(row, deviceKey, *taken));
    };
    return SubScreenWrite::start(*this, rect, coefficient, follow);
}

} // namespace Correction
