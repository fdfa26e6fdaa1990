#pragma once

#include <Correction/ICoefficient.h>

#include <QtCore/QByteArray>

namespace Correction {

/// A grid of multilayer values, one byte each.
class CORRECTION_EXPORT IMultilayerCoefficient : public ICoefficient
{
public:
    using ICoefficient::setPartCoefficient;

    /// All values, in the order of `ICoefficient`.
    virtual QByteArray getCoefficient() = 0;
    /// Replaces all values. `enOutOfRange`, with no change and not logged: their number is not rows * columns * length.
    virtual EnumErrorCode setCoefficient(QByteArray &values) = 0;
    /// Pastes values, given row by row of `rect`. Results as for the paste of a grid.
    virtual EnumErrorCode setPartCoefficient(const QRect &rect, QByteArray &values) = 0;
};

} // namespace Correction
