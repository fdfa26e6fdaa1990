#pragma once

#include "model/MapCursor.h"

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/SubScreenV4.h>

#include <memory>
#include <new>
#include <typeinfo>

namespace Correction {

/// Registers new cabinets and adds them to a sub-screen, as `addCabinet` of both does. Ids are mostly in order: one that
/// follows the last one is added without a search.
class CabinetPlacer
{
public:
    explicit CabinetPlacer(ISubScreen &subScreen) : m_subScreen(subScreen)
    {
        if (typeid(subScreen) == typeid(SubScreenV4))
            m_ids = std::make_unique<MapFiller<QString>>(static_cast<SubScreenV4 &>(subScreen).m_cabinets);
    }

    /// Call when the host may have changed the registry or the sub-screen.
    void searchAgain()
    {
        m_registry.searchAgain();
        if (m_ids)
            m_ids->searchAgain();
    }

    /// False when the sub-screen got a new id that is the one of another registered cabinet.
    bool place(CabinetInfo *record)
    {
        std::unique_ptr<CabinetV4, StorageDeleter> cabinet(new CabinetV4(record));
        const bool isRegistered = m_registry.add(record->id, cabinet.get());
        if (isRegistered)
            static_cast<void>(cabinet.release());
        return !addToSubScreen(*record) || isRegistered;
    }

private:
    /// Releases a cabinet that could not be registered. Like the registry it does not delete the cabinet's record.
    struct StorageDeleter {
        void operator()(CabinetV4 *cabinet) const noexcept { ::operator delete(static_cast<void *>(cabinet)); }
    };

    bool addToSubScreen(const CabinetInfo &record)
    {
        if (m_ids)
            return m_ids->add(record.id, record.flag);
        const bool isAdded = m_subScreen.addCabinet(record.id, record.flag);
        searchAgain();
        return isAdded;
    }

    ISubScreen &m_subScreen;
    MapFiller<ICabinet *> m_registry{CabinetManager::getInstance()->m_cabinets};
    std::unique_ptr<MapFiller<QString>> m_ids; ///< Of the library's own sub-screen; null for another one.
};

} // namespace Correction
