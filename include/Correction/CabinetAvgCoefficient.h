#pragma once

#include <Correction/ICabinetCoefficient.h>

#include <QtCore/QMap>

namespace Correction {

/// Placeholder for a cabinet's averaged coefficients: it knows its device and holds nothing.
class CORRECTION_EXPORT CabinetAvgCoefficient : public ICabinetCoefficient
{
public:
    CabinetAvgCoefficient(const QString &deviceKey, const QString &cabinetId);
    /// Deletes no grid.
    ~CabinetAvgCoefficient();

    QString getDeciceKey() override;
    /// Stores nothing and answers false.
    bool add(QRect block, ICoefficient *coefficient) override;
    /// Always null.
    ICoefficient *tryGetCoefficient(QRect block) override;
    /// Always a null text.
    QString toJsonData() override;

private:
    QString m_deviceKey;
    QString m_cabinetId;
    QMap<QString, ICoefficient *> m_coefficientMap;
};

} // namespace Correction
