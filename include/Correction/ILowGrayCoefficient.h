#pragma once

#include <Correction/ICoefficient.h>

#include <QtCore/QVector>

namespace Correction {

/// A grid of low-gray values.
class CORRECTION_EXPORT ILowGrayCoefficient : public ICoefficient
{
public:
    using ICoefficient::setPartCoefficient;

    /// All values, in the order of `ICoefficient`.
    virtual QVector<unsigned short> getCoefficient() = 0;
    /// Replaces all values. `enOutOfRange`, with no change and not logged: their number is not rows * columns * length.
    virtual EnumErrorCode setCoefficient(QVector<unsigned short> &values) = 0;
    /// Pastes values, given row by row of `rect`. Results as for the paste of a grid.
    virtual EnumErrorCode setPartCoefficient(const QRect &rect, QVector<unsigned short> &values) = 0;
};

} // namespace Correction
