#include <Correction/ScreenReader.h>

#include <Correction/CabinetManager.h>
#include <Correction/CoefficientPtr.h>

#include "model/Arithmetic.h"
#include "model/Logging.h"
#include "screen/CabinetGrid.h"

#include <algorithm>
#include <limits>

namespace Correction {
namespace {

/// Devices may report any rectangle: a count above the largest int is limited to it, so that a sum over cabinets does not
/// overflow.
qint64 pixelsOf(const QRect &rect)
{
    const qint64 pixels = qint64(widthOf(rect)) * heightOf(rect);
    return std::min<qint64>(std::max<qint64>(pixels, 0), std::numeric_limits<int>::max());
}

/// Reads a whole cabinet and pastes its intersection with `rect`.
EnumErrorCode readCabinet(const CabinetInfo &info, const QRect &rect, ICoefficient &coefficient)
{
    ICabinet *const cabinet = CabinetManager::getInstance()->tryGetCabinet(info.id);
    if (!cabinet) {
        logFailure("Connot find cabinet by id. deviceKey: %1 cid: %2", info.deviceKey, info.id);
        return enInvalidParameter;
    }
    const EnumCoefficientType type = coefficient.getType();
    const CoefficientPtr whole = gridFor(*cabinet, type, info.rect);
    if (!whole) {
        logFailure("Failed to create coefficient. cabinet key: %1 Coefficient type:%2", info.id, type);
        return enNotSupported;
    }
    const EnumErrorCode read = cabinet->tryGetCoefficients(*whole);
    if (read != enSuccess) {
        logFailure("Failed to get coefficient. cabinet key: %1 code: %2", info.id, read);
        return read;
    }
    const QRect common = info.rect.intersected(rect);
    const CoefficientPtr part(whole->tryGetPart(relativeTo(common, info.rect.topLeft())));
    if (!part)
        return enInvalidParameter; // logged by the grid
    const EnumErrorCode pasted = coefficient.setPartCoefficient(relativeTo(common, rect.topLeft()), *part);
    if (pasted != enSuccess)
        logFailure("Failed to set part of coefficient. cabinet key: %1", info.id);
    return pasted;
}

} // namespace

ScreenReader::ScreenReader(IScreen &screen) : m_screen(screen) {}

EnumErrorCode ScreenReader::tryGetCabinets(QList<CabinetInfo> &cabinets)
{
    const EnumErrorCode code = m_screen.tryGetAllCabinetInfoList(cabinets);
    if (code != enSuccess)
        logFailure("Failed to list the cabinets. screen: %1 code: %2", m_screen.getID(), code);
    return code;
}

EnumErrorCode ScreenReader::tryGetDeviceKeys(QStringList &keys)
{
    QList<CabinetInfo> cabinets;
    const EnumErrorCode code = tryGetCabinets(cabinets);
    if (code != enSuccess)
        return code;
    QStringList found;
    for (const CabinetInfo &cabinet : qAsConst(cabinets))
        found.append(cabinet.deviceKey);
    found.removeDuplicates();
    found.sort();
    keys = found;
    return enSuccess;
}

EnumErrorCode ScreenReader::tryGetCoefficients(const QRect &rect, ICoefficient &coefficient, QRegion *holes,
                                               const OnProgress &onProgress)
{
    if (rect.isEmpty()) {
        logFailure("read of an empty rectangle. screen: %1", m_screen.getID());
        return enOutOfRange;
    }
    if (coefficient.getPixelCol() != widthOf(rect) || coefficient.getPixelRow() != heightOf(rect)) {
        logFailure("read into a grid of another size. screen: %1 grid w:%2 h:%3 rect w:%4 h:%5", m_screen.getID(),
                   coefficient.getPixelCol(), coefficient.getPixelRow(), widthOf(rect), heightOf(rect));
        return enArgumentMismatch;
    }
    QList<CabinetInfo> cabinets;
    const EnumErrorCode listed = tryGetCabinets(cabinets);
    if (listed != enSuccess)
        return listed;
    cabinets.erase(std::remove_if(cabinets.begin(), cabinets.end(),
                                  [&rect](const CabinetInfo &cabinet) { return !cabinet.rect.intersects(rect); }),
                   cabinets.end());
    Progress progress{0, cabinets.size(), 0, 0, nullptr};
    QRegion covered;
    for (const CabinetInfo &cabinet : qAsConst(cabinets)) {
        progress.pixels += pixelsOf(cabinet.rect);
        if (holes)
            covered += cabinet.rect.intersected(rect);
    }
    if (holes)
        *holes = QRegion(rect) - covered;

    const auto report = [&](const CabinetInfo *next) {
        progress.next = next;
        if (onProgress)
            onProgress(progress);
    };
    for (const CabinetInfo &cabinet : qAsConst(cabinets)) {
        report(&cabinet);
        const EnumErrorCode code = readCabinet(cabinet, rect, coefficient);
        if (code != enSuccess)
            return code;
        ++progress.cabinetsRead;
        progress.pixelsRead += pixelsOf(cabinet.rect);
    }
    report(nullptr);
    return enSuccess;
}

} // namespace Correction
