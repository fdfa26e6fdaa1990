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

    /// Replaces `average` by 9 values: the mean of each of a pixel's values over all pixels, cut to an integer. 0; 3 with
    /// `average` unchanged when the grid is invalid. A grid without pixels gives nine zeros.
    virtual EnumErrorCode tryGetAvg(QVector<unsigned short> &average) = 0;
    /// Not implemented: answers 7 and leaves `bytes` alone.
    virtual EnumErrorCode toByteArray(QByteArray &bytes) = 0;
    virtual QVector<unsigned short> getCoefficient() = 0;
    /// Replaces all values. 0; 2 with no change when their number is not rows * columns * length.
    virtual EnumErrorCode setCoefficient(QVector<unsigned short> &values) = 0;
    /// Pastes values, given row by row of `rect`. Results as for the paste of a grid.
    virtual EnumErrorCode setPartCoefficient(const QRect &rect, QVector<unsigned short> &values) = 0;
    /// The values as a JSON array of decimal numbers without blanks (RFC 8259). Empty, with a critical line, when the text
    /// would not fit into a QString.
    virtual QString toJsonData() = 0;
};

} // namespace Correction
