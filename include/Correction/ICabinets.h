#pragma once

#include <Correction/Enumerations.h>
#include <Correction/Global.h>
#include <Correction/ICabinetCoefficient.h>

#include <QtCore/QList>

namespace Correction {

/// A group of cabinets. No virtual destructor: release a group of the registry with `CabinetsPtr`.
///
/// A store operation (the seven that save, show or clear) sends one request to each of their devices, in ascending order of
/// the device keys, and stops at the first that fails: devices before it have carried the operation out. It concerns chroma
/// coefficients only and runs on the caller's thread; there is no lock.
/// - `enSuccess`: every device carried it out; also for an empty group.
/// - `enInvalidParameter`, with two critical lines: the group has a null cabinet. Nothing is sent.
/// - `enTimeout`, with one critical line: a device did not answer in time or refused.
class CORRECTION_EXPORT ICabinets
{
public:
    /// Clears the coefficients that the cabinets show and those that were saved.
    virtual EnumErrorCode clearUserCoefficient() = 0;
    /// Saves the coefficients that the cabinets show.
    virtual EnumErrorCode saveUserCoefficient() = 0;
    /// Saves the coefficients that the cabinets show as those of the factory.
    virtual EnumErrorCode saveFactoryCoefficient() = 0;
    /// Makes the cabinets show the saved coefficients.
    virtual EnumErrorCode showUserCoefficient() = 0;
    /// Makes the cabinets show the factory's coefficients.
    virtual EnumErrorCode showFactoryCoefficient() = 0;
    /// Does nothing and returns `enSuccess`.
    virtual EnumErrorCode setAvgCoefficient(const QList<ICabinetCoefficient> &coefficients) = 0;
    /// Does nothing, leaves the list as it is, and returns `enSuccess`.
    virtual EnumErrorCode getAvgCoeffcient(QList<ICabinetCoefficient> &coefficients) = 0;
    /// Makes the cabinets show the modules' coefficients.
    virtual EnumErrorCode showModuleCoefficient() = 0;
    /// Saves the coefficients that the cabinets show as those of the modules.
    virtual EnumErrorCode saveModuleCoefficient() = 0;
    /// Does nothing and returns `enSuccess`, unlike the operations of this name of `IScreen` and `ISubScreen`.
    virtual EnumErrorCode setMutiCabinetSolid() = 0;
};

} // namespace Correction
