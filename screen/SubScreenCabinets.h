#pragma once

#include "model/Logging.h"
#include "screen/CabinetDescription.h"

#include <Correction/CabinetManager.h>

#include <QtCore/QMap>
#include <QtCore/QString>

namespace Correction {

/// Visits a sub-screen's cabinets in id order: `visit(id, cabinet)` answers a code, and `done(code)` says whether it ends
/// the walk with that code. An id that the registry does not hold ends it with 3. The last code otherwise, `initial` without
/// cabinets.
template <class Visit, class Done>
EnumErrorCode walkCabinets(const QMap<QString, QString> &cabinets, const QString &deviceKey, EnumErrorCode initial,
                           Visit visit, Done done)
{
    EnumErrorCode code = initial;
    for (auto entry = cabinets.cbegin(); entry != cabinets.cend(); ++entry) {
        ICabinet *const cabinet = CabinetManager::getInstance()->tryGetCabinet(entry.key());
        if (!cabinet) {
            logFailure("Connot find cabinet by id. deviceKey: %1 cid: %2", deviceKey, entry.key());
            return enInvalidParameter;
        }
        code = visit(entry.key(), *cabinet);
        if (done(code))
            return code;
    }
    return code;
}

/// Visits every cabinet until one fails.
template <class Visit>
EnumErrorCode forEachCabinet(const QMap<QString, QString> &cabinets, const QString &deviceKey, Visit visit)
{
    return walkCabinets(cabinets, deviceKey, enSuccess, visit, [](EnumErrorCode code) { return code != enSuccess; });
}

/// The same with each cabinet's description: `visit(id, cabinet, description)`.
template <class Visit>
EnumErrorCode forEachDescription(const QMap<QString, QString> &cabinets, const QString &deviceKey, Visit visit)
{
    return forEachCabinet(cabinets, deviceKey, [&](const QString &id, ICabinet &cabinet) {
        const CabinetDescription description(cabinet);
        if (description.code() != enSuccess) {
            logFailure("Cabinet info is empty. id:%1", id);
            return description.code();
        }
        return visit(id, cabinet, *description);
    });
}

} // namespace Correction
