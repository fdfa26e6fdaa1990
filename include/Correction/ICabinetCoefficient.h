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
    virtual QString getDeciceKey() = 0;
    virtual bool add(QRect block, ICoefficient *coefficient) = 0;
    virtual ICoefficient *tryGetCoefficient(QRect block) = 0;
    virtual QString toJsonData() = 0;
};

} // namespace Correction
