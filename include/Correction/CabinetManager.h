#pragma once

#include <Correction/Global.h>
#include <Correction/ICabinet.h>
#include <Correction/ICabinets.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>

namespace Correction {

/// The process-wide registry of cabinets by id; ids are unique over all devices. `ScreenManager::refreshScreen` empties and
/// fills it, which invalidates every cabinet and group handed out before. No lock: concurrent calls are the caller's
/// concern.
///
/// Removing a cabinet releases its storage alone and runs no destructor, since `ICabinet` has no virtual one: a registered
/// cabinet must come from `new`, and its `CabinetInfo` stays (discovery releases its own records, or fills them again, at
/// the next refresh, so never delete a cabinet that it made).
///
/// Cabinets may be removed from inside an operation of the same thread (a device service may call the host back or run the
/// event loop): they are unknown at once, and their storage is released by the first refresh or removal outside of every
/// operation.
class CORRECTION_EXPORT CabinetManager
{
public:
    /// An empty registry. Copies are shallow: the cabinets are shared.
    CabinetManager();
    CabinetManager(const CabinetManager &other);
    CabinetManager(CabinetManager &&other) noexcept;
    CabinetManager &operator=(const CabinetManager &other);
    CabinetManager &operator=(CabinetManager &&other) noexcept;
    ~CabinetManager();

    /// Made at the first call (unsynchronised), lives until the process ends.
    static CabinetManager *getInstance();

    /// Takes ownership of `cabinet` and returns true. False, with nothing taken and not logged, for null and for an id that
    /// is present.
    bool addCabinet(const QString &id, ICabinet *cabinet);
    /// False, not logged, when `id` is absent.
    bool removeCabinet(const QString &id);
    /// Removes all cabinets, as `removeCabinet` does.
    void removeCabinets();
    /// The cabinet, still owned by the registry, or null (not logged).
    ICabinet *tryGetCabinet(const QString &id);
    /// A new group of these cabinets, in this order, that the caller owns (see `CabinetsPtr`); null, with one critical line,
    /// at the first unknown id. An empty list gives an empty group.
    ICabinets *tryGetCabinets(const QList<QString> &ids);
    /// Inserts every cabinet's flag under its id. False, with one critical line, at the first cabinet that does not give its
    /// flag; entries inserted before it stay.
    bool getMapping(QMap<QString, QString> &mapping);

private:
    friend class CabinetLookup; // reads the map in its order
    friend class CabinetPlacer; // adds cabinets in their order

    QMap<QString, ICabinet *> m_cabinets;
};

} // namespace Correction
