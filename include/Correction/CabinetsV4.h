#pragma once

#include <Correction/ICabinet.h>
#include <Correction/ICabinets.h>

#include <QtCore/QMap>
#include <QtCore/QVariant>

namespace Correction {

/// A group of cabinets on the device service. It owns no cabinet: every refresh of the screens invalidates it.
class CORRECTION_EXPORT CabinetsV4 : public ICabinets
{
public:
    /// A group of these cabinets, in this order.
    explicit CabinetsV4(QList<ICabinet *> &cabinets);
    ~CabinetsV4();

    EnumErrorCode clearUserCoefficient() override;
    EnumErrorCode saveUserCoefficient() override;
    EnumErrorCode saveFactoryCoefficient() override;
    EnumErrorCode showUserCoefficient() override;
    EnumErrorCode showFactoryCoefficient() override;
    EnumErrorCode setAvgCoefficient(const QList<ICabinetCoefficient> &coefficients) override;
    EnumErrorCode getAvgCoeffcient(QList<ICabinetCoefficient> &coefficients) override;
    EnumErrorCode showModuleCoefficient() override;
    EnumErrorCode saveModuleCoefficient() override;
    EnumErrorCode setMutiCabinetSolid() override;

private:
    using PerDevice = EnumErrorCode (*)(const QString &deviceKey, QList<QVariant> &ids);

    /// Sorts the cabinets by device key; false at a null cabinet.
    bool toDeviceCabinetsMap(QMap<QString, QList<ICabinet *>> &devices);
    /// Runs `perDevice` once for each device until one fails.
    EnumErrorCode send(PerDevice perDevice);

    QList<ICabinet *> m_cabinets; // not owned
};

} // namespace Correction
