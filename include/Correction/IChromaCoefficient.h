#pragma once

#include <Correction/ICoefficient.h>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

namespace Correction {

/// A grid of chroma values.
class CORRECTION_EXPORT IChromaCoefficient : public ICoefficient
{
public:
    using ICoefficient::setPartCoefficient;

    /// Replaces `average` by 9 values: the mean of each of a pixel's values over all pixels, cut to an integer.
    /// `enInvalidParameter`, with `average` unchanged and not logged: the grid is invalid. A grid without pixels gives nine
    /// zeros.
    virtual EnumErrorCode tryGetAvg(QVector<unsigned short> &average) = 0;
    /// Not implemented: returns `enNotSupported` and leaves `bytes` alone. Not logged.
    virtual EnumErrorCode toByteArray(QByteArray &bytes) = 0;
    /// All values, in the order of `ICoefficient`.
    virtual QVector<unsigned short> getCoefficient() = 0;
    /// Replaces all values. `enOutOfRange`, with no change and not logged: their number is not rows * columns * length.
    virtual EnumErrorCode setCoefficient(QVector<unsigned short> &values) = 0;
    /// Pastes values, given row by row of `rect`. Results as for the paste of a grid.
    virtual EnumErrorCode setPartCoefficient(const QRect &rect, QVector<unsigned short> &values) = 0;
    /// The values as a JSON array of decimal numbers without blanks (RFC 8259). Empty, with one critical line, when they
    /// would not fit into a QString.
    virtual QString toJsonData() = 0;
};

} // namespace Correction
