#pragma once

#include <Correction/IChromaCoefficient.h>
#include <Correction/ILowGrayCoefficient.h>
#include <Correction/IMultilayerCoefficient.h>

#include <QtCore/QStringList>

/// Grids of a host's own: they derive from the interfaces alone, record the calls, and may report any
/// kind.
namespace ForeignGrids {

template <class Interface, class ValuesType>
class Base : public Interface
{
public:
    using Values = ValuesType;

    struct Paste {
        QRect rect;
        Values values;
    };

    Base(Correction::EnumCoefficientType type, int length) : m_type(type), m_length(length) {}

    int getPixelRow() override { return m_rows; }
    void setPixelRow(int pixelRow) override
    {
        m_calls.append(QStringLiteral("setPixelRow(%1)").arg(pixelRow));
        m_rows = pixelRow;
    }
    int getPixelCol() override { return m_columns; }
    void setPixelCol(int pixelCol) override
    {
        m_calls.append(QStringLiteral("setPixelCol(%1)").arg(pixelCol));
        m_columns = pixelCol;
    }
    int getPixelLength() override { return m_length; }
    Correction::ICoefficient *getCopy() override { return nullptr; }
    Correction::EnumCoefficientType getType() override { return m_type; }
    Correction::EnumErrorCode setPartCoefficient(const QRect &, Correction::ICoefficient &) override
    {
        m_calls.append(QStringLiteral("setPartCoefficient(grid)"));
        return Correction::enNotSupported;
    }
    Correction::ICoefficient *tryGetPart(const QRect &) override { return nullptr; }
    QString toBase64() override { return QString(); }

    Values getCoefficient() override
    {
        m_calls.append(QStringLiteral("getCoefficient()"));
        return m_values;
    }
    Correction::EnumErrorCode setCoefficient(Values &values) override
    {
        const bool zeros = values == Values(values.size(), 0);
        m_calls.append(QStringLiteral("setCoefficient(%1 %2)")
                           .arg(values.size())
                           .arg(zeros ? QStringLiteral("zeros") : QStringLiteral("values")));
        m_values = values;
        return m_assignAnswer;
    }
    /// Returns the next of `m_pasteAnswers`, or 0 when there is none.
    Correction::EnumErrorCode setPartCoefficient(const QRect &rect, Values &values) override
    {
        m_calls.append(QStringLiteral("setPartCoefficient(%1 %2 %3 %4)")
                           .arg(rect.x())
                           .arg(rect.y())
                           .arg(rect.width())
                           .arg(rect.height()));
        m_pastes.append({rect, values});
        return m_pasteAnswers.isEmpty() ? Correction::enSuccess : m_pasteAnswers.takeFirst();
    }

    Correction::EnumCoefficientType m_type;
    int m_length;
    int m_rows = 1;
    int m_columns = 1;
    Values m_values;
    Correction::EnumErrorCode m_assignAnswer = Correction::enSuccess;
    QList<Correction::EnumErrorCode> m_pasteAnswers;
    QList<Paste> m_pastes;
    QStringList m_calls;
};

class Chroma : public Base<Correction::IChromaCoefficient, QVector<unsigned short>>
{
public:
    explicit Chroma(Correction::EnumCoefficientType type = Correction::enCommonCoefficient, int length = 9)
        : Base(type, length)
    {
    }
    Correction::EnumErrorCode tryGetAvg(QVector<unsigned short> &) override { return Correction::enNotSupported; }
    Correction::EnumErrorCode toByteArray(QByteArray &) override { return Correction::enNotSupported; }
    QString toJsonData() override { return QString(); }
};

class LowGray : public Base<Correction::ILowGrayCoefficient, QVector<unsigned short>>
{
public:
    explicit LowGray(Correction::EnumCoefficientType type = Correction::enLowgrayCoefficient, int length = 9)
        : Base(type, length)
    {
    }
};

class Multilayer : public Base<Correction::IMultilayerCoefficient, QByteArray>
{
public:
    explicit Multilayer(Correction::EnumCoefficientType type = Correction::enMultilayerCoefficient, int length = 16)
        : Base(type, length)
    {
    }
};

} // namespace ForeignGrids
