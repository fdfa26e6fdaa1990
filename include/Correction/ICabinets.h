#pragma once

#include <Correction/Enumerations.h>
#include <Correction/Global.h>
#include <Correction/ICabinetCoefficient.h>

#include <QtCore/QList>

namespace Correction {

/// A group of cabinets. A store operation sends one request to each of their devices, in ascending order of the device keys,
/// and stops at the first that fails: devices before it have carried the operation out. 0, also for an empty group; 3 for a
/// group with a null cabinet (nothing is sent); 5 when a device did not answer in time or refused. No virtual destructor:
/// release a group of the registry with `CabinetsPtr`.
class CORRECTION_EXPORT ICabinets
{
public:
    virtual EnumErrorCode clearUserCoefficient() = 0;
    virtual EnumErrorCode saveUserCoefficient() = 0;
    virtual EnumErrorCode saveFactoryCoefficient() = 0;
    virtual EnumErrorCode showUserCoefficient() = 0;
    virtual EnumErrorCode showFactoryCoefficient() = 0;
    /// Does nothing and answers 0.
    virtual EnumErrorCode setAvgCoefficient(const QList<ICabinetCoefficient> &coefficients) = 0;
    /// Does nothing, leaves the list as it is, and answers 0.
    virtual EnumErrorCode getAvgCoeffcient(QList<ICabinetCoefficient> &coefficients) = 0;
    virtual EnumErrorCode showModuleCoefficient() = 0;
    virtual EnumErrorCode saveModuleCoefficient() = 0;
    /// Does nothing and answers 0.
    virtual EnumErrorCode setMutiCabinetSolid() = 0;
};

} // namespace Correction
