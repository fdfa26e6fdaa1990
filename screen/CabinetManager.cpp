#include <Correction/CabinetManager.h>

#include <Correction/CabinetsV4.h>

#include "cabinet/OperationScope.h"
#include "model/Logging.h"

#include <new>

namespace Correction {
namespace {

/// Cabinets have no virtual destructor, and their descriptions outlive them (see the header): only the storage is freed.
void releaseStorage(void *cabinet)
{
    ::operator delete(dynamic_cast<void *>(static_cast<ICabinet *>(cabinet)));
}

} // namespace

CabinetManager::CabinetManager() = default;
CabinetManager::CabinetManager(const CabinetManager &other) = default;
CabinetManager::CabinetManager(CabinetManager &&other) noexcept = default;
CabinetManager &CabinetManager::operator=(const CabinetManager &other) = default;
CabinetManager &CabinetManager::operator=(CabinetManager &&other) noexcept = default;
CabinetManager::~CabinetManager() = default;

CabinetManager *CabinetManager::getInstance()
{
    static CabinetManager *const instance = new CabinetManager; // never released: cabinets may be in use until the end
    return instance;
}

bool CabinetManager::addCabinet(const QString &id, ICabinet *cabinet)
{
    if (!cabinet)
        return false;
    const auto place = qAsConst(m_cabinets).lowerBound(id);
    if (place != m_cabinets.cend() && place.key() == id)
        return false;
    m_cabinets.insert(place, id, cabinet);
    return true;
}

bool CabinetManager::removeCabinet(const QString &id)
{
    const auto entry = m_cabinets.find(id);
    if (entry == m_cabinets.end())
        return false;
    RemovedObjects::expect(1);
    RemovedObjects::add(entry.value(), releaseStorage);
    m_cabinets.erase(entry);
    return true;
}

void CabinetManager::removeCabinets()
{
    RemovedObjects::expect(m_cabinets.size());
    for (ICabinet *const cabinet : qAsConst(m_cabinets))
        RemovedObjects::add(cabinet, releaseStorage);
    m_cabinets.clear();
}

ICabinet *CabinetManager::tryGetCabinet(const QString &id)
{
    return m_cabinets.value(id);
}

ICabinets *CabinetManager::tryGetCabinets(const QList<QString> &ids)
{
    QList<ICabinet *> cabinets;
    for (const QString &id : ids) {
        const auto entry = m_cabinets.constFind(id);
        if (entry == m_cabinets.cend()) {
            qCCritical(lcCorrection) << "cannot find cabinet by id:" << id;
            return nullptr;
        }
        cabinets.append(entry.value());
    }
    return new CabinetsV4(cabinets);
}

bool CabinetManager::getMapping(QMap<QString, QString> &mapping)
{
    for (auto entry = m_cabinets.cbegin(); entry != m_cabinets.cend(); ++entry) {
        if (!entry.value()) {
            logFailure("Cabinet object is null. cid: %1", entry.key());
            return false;
        }
        QString flag;
        if (entry.value()->getFlag(flag) != enSuccess) {
            logFailure("Cabinet info object is null. cid: %1", entry.key());
            return false;
        }
        mapping.insert(entry.key(), flag);
    }
    return true;
}

} // namespace Correction
