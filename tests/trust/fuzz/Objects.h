#pragma once

#include "trust/OperationTable.h"

#include <Correction/CabinetManager.h>

/// The host's objects for the operations of the table, on walls that discovery may have made anything of.
namespace Fuzz {

using namespace Trust;

/// The objects of the first screen that has some.
inline void findObjects(Host &host, const QStringList &deviceKeys)
{
    host.screen = nullptr;
    host.subScreen = nullptr;
    host.cabinet = nullptr;
    ScreenManager *const manager = ScreenManager::getInstance();
    QStringList ids;
    for (const QString &id : manager->getNameMapping().keys()) {
        host.screen = manager->tryGetScreen(id);
        for (const QString &key : deviceKeys) {
            ISubScreen *const subScreen = host.screen->tryGetSubScreen(key);
            QList<CabinetInfo> infos;
            if (subScreen && subScreen->tryGetAllCabinetInfoList(infos) == enSuccess) {
                host.subScreen = subScreen;
                for (const CabinetInfo &info : qAsConst(infos)) {
                    ids.append(info.id);
                    host.cabinet = CabinetManager::getInstance()->tryGetCabinet(info.id);
                }
            }
            if (host.cabinet)
                break;
        }
        if (host.cabinet)
            break;
    }
    host.group.reset(ids.isEmpty() ? nullptr : CabinetManager::getInstance()->tryGetCabinets(ids));
}

/// Whether an operation has its object. Those of discovery have none.
inline bool canRun(const Row &row, const Host &host)
{
    const QString owner = row.name.section(QStringLiteral("::"), 0, 0);
    return owner == text("IScreen")      ? host.screen != nullptr
           : owner == text("ISubScreen") ? host.subScreen != nullptr
           : owner == text("ICabinet")   ? host.cabinet != nullptr
           : owner == text("ICabinets")  ? bool(host.group)
                                         : false;
}

} // namespace Fuzz
