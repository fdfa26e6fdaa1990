#pragma once

#include <Correction/Global.h>

#include <QtCore/QRect>
#include <QtCore/QString>

namespace Correction {

class ICoefficient;

/// A cabinet's coefficients, gathered block by block. No virtual destructor.
class CORRECTION_EXPORT ICabinetCoefficient
{
public:
    /// The key of the device that drives the cabinet.
    virtual QString getDeciceKey() = 0;
    /// Adds a block; `block` in pixels of the cabinet. False when it is not stored.
    virtual bool add(QRect block, ICoefficient *coefficient) = 0;
    /// The coefficients of a block, or null.
    virtual ICoefficient *tryGetCoefficient(QRect block) = 0;
    /// The coefficients as a JSON document.
    virtual QString toJsonData() = 0;
};

} // namespace Correction
