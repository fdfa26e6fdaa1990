#pragma once

#include <Correction/Global.h>

#include <QtCore/QString>

namespace Correction {

/// A flag to be written to one module. Both strings are sent unchanged.
class CORRECTION_EXPORT CabinetsModuleFlag
{
public:
    CabinetsModuleFlag(); ///< Empty.
    CabinetsModuleFlag(const CabinetsModuleFlag &other);
    CabinetsModuleFlag &operator=(const CabinetsModuleFlag &other);

    QString id;   ///< The module's id.
    QString flag; ///< Its meaning is the device's.
};

} // namespace Correction
