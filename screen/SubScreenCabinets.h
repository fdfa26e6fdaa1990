#pragma once

#include "cabinet/OperationScope.h"
#include "model/Logging.h"
#include "model/MapCursor.h"
#include "screen/CabinetDescription.h"

#include <Correction/CabinetManager.h>

#include <QtCore/QMap>
#include <QtCore/QString>

namespace Correction {

/// Looks cabinets up in the registry. Both a sub-screen and the registry are in id order.
class CabinetLookup
{
public:
    ICabinet *tryGetCabinet(const QString &id)
    {
        CabinetManager *const registry = CabinetManager::getInstance();
        if (!registry->m_cabinets.isSharedWith(m_cabinets)) // the registry has changed
            return registry->tryGetCabinet(id);
        ICabinet *const *const cabinet = m_cursor.find(id);
        return cabinet ? *cabinet : nullptr;
    }

private:
    const QMap<QString, ICabinet *> m_cabinets = CabinetManager::getInstance()->m_cabinets; // shallow: iterators stay valid
    MapCursor<ICabinet *> m_cursor{m_cabinets};
};

/// Visits a sub-screen's cabinets in id order (in a shallow copy of its map, which the
/// host may change meanwhile):
/// `visit(id, cabinet)` returns a code; when `done(code)` is true, the walk ends with that code. It ends with
/// enInvalidParameter for an id that is not registered. Otherwise returns the last code, or `initial` without cabinets.
template <class Visit, class Done>
EnumErrorCode walkCabinets(const QMap<QString, QString> cabinets, const QString &deviceKey, EnumErrorCode initial,
                           Visit visit, Done done)
{
    const OperationScope scope;
    EnumErrorCode code = initial;
    CabinetLookup lookup;
    for (auto entry = cabinets.cbegin(); entry != cabinets.cend(); ++entry) {
        ICabinet *const cabinet = lookup.tryGetCabinet(entry.key());
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
