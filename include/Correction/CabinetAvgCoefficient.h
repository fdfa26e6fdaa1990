#pragma once

#include <Correction/ICabinetCoefficient.h>

#include <QtCore/QMap>

namespace Correction {

/// Placeholder for a cabinet's averaged coefficients: it has a device key and holds no values.
class CORRECTION_EXPORT CabinetAvgCoefficient : public ICabinetCoefficient
{
public:
    /// Stores both strings, and nothing else.
    CabinetAvgCoefficient(const QString &deviceKey, const QString &cabinetId);
    /// Deletes no grid.
    ~CabinetAvgCoefficient();

    QString getDeciceKey() override;
    /// Stores nothing and returns false.
    bool add(QRect block, ICoefficient *coefficient) override;
    /// Always null.
    ICoefficient *tryGetCoefficient(QRect block) override;
    /// Always a null string.
    QString toJsonData() override;

private:
    QString m_deviceKey;
    QString m_cabinetId;
    QMap<QString, ICoefficient *> m_coefficientMap;
};

} // namespace Correction
