#pragma once

#include <Correction/Global.h>

#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QString>

namespace Correction {

/// One receiving card of a cabinet, as its device reports it. `rect` in pixels, in the device's frame.
class CORRECTION_EXPORT RvCardInfo
{
public:
    RvCardInfo(); ///< Empty strings, a null rectangle.
    RvCardInfo(const RvCardInfo &other);
    RvCardInfo &operator=(const RvCardInfo &other);

    QString id;   ///< Its form is the device's.
    QString flag; ///< Its meaning is the device's.
    QRect rect;   ///< Place and size.
};

/// One LED module of a receiving card, as its device reports it. `rect` in pixels, in the device's frame.
class CORRECTION_EXPORT ModuleInfo
{
public:
    ModuleInfo(); ///< Empty strings, a null rectangle.
    ModuleInfo(const ModuleInfo &other);
    ModuleInfo &operator=(const ModuleInfo &other);

    QString id;   ///< Its form is the device's.
    QString flag; ///< Its meaning is the device's.
    QRect rect;   ///< Place and size.
};

/// Description of one cabinet.
class CORRECTION_EXPORT CabinetInfo
{
public:
    CabinetInfo(); ///< Empty strings but for `flag`, which is null; a null rectangle, empty lists.
    /// As the assignment to a new record: `flag` of the copy is null. Records in a QList are such copies.
    CabinetInfo(const CabinetInfo &other);
    /// Copies everything but `flag`, which stays what it was; hosts rely on it. The cards and modules are deep copies; those
    /// that this record owned before are deleted. Assigning a record to itself changes nothing.
    CabinetInfo &operator=(const CabinetInfo &other);
    /// Deletes every record in both lists.
    ~CabinetInfo();

    QString id;                     ///< Decimal number as a string, unique over all devices.
    QString flag;                   ///< Its meaning is the device's.
    QString deviceKey;              ///< The device that drives the cabinet.
    QString reserved;               ///< Free for the host; discovery leaves it empty.
    QRect rect;                     ///< Place and size on the screen, in screen pixels.
    QList<RvCardInfo *> rvCardList; ///< Owned; in the order of the device's reply.
    QList<ModuleInfo *> moduleList; ///< Owned; the modules of all cards, card after card.
};

} // namespace Correction
