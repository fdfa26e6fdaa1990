#pragma once

#include <Correction/ICabinet.h>

namespace Correction {

/// A cabinet on the device service.
class CORRECTION_EXPORT CabinetV4 : public ICabinet
{
public:
    /// Takes ownership of `cabinet`, which may be null: every operation then returns `enInvalidParameter` and sends nothing,
    /// and the strings and the module list are empty.
    explicit CabinetV4(CabinetInfo *cabinet);
    /// Deletes the description. A cabinet that the registry removes is released without it (see `CabinetManager`).
    ~CabinetV4();
    CabinetV4(const CabinetV4 &) = delete;
    CabinetV4 &operator=(const CabinetV4 &) = delete;

    EnumErrorCode GetCabinetInfo(CabinetInfo &info) override;
    EnumErrorCode tryGetCoefficients(ICoefficient &coefficient) override;
    EnumErrorCode setCoefficients(const QPoint &position, ICoefficient &coefficient) override;
    EnumErrorCode saveParameter(EnumSaveType type) override;
    EnumErrorCode applyCoeffcient(EnumCoefficientType type) override;
    EnumErrorCode setEffectMode(EnumEffectMode mode) override;
    EnumErrorCode setBrightness(int brightness) override;
    EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) override;
    EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) override;
    EnumErrorCode getBrightnessRange(BrightnessRange &range) override;
    EnumErrorCode getConfigFile(const QString &path) override;
    EnumErrorCode setConfigFile(const QString &path) override;
    EnumErrorCode setFlag(const QString &flag) override;
    EnumErrorCode getFlag(QString &flag) override;
    EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) override;
    EnumErrorCode getFlashCheckInfo(QList<RxCardFlashCheckInfo> &list) override;
    QString getID() override;
    QString getDeviceKey() override;
    EnumErrorCode setCabinetflags(const QString &flag) override;
    EnumErrorCode setModuleflags(QList<CabinetsModuleFlag> &flags) override;
    EnumErrorCode clearModuleCoefficient(int type) override;
    EnumErrorCode saveModuleCoefficient(int type) override;
    EnumErrorCode reloadModuleCoefficient(int type) override;
    QList<ModuleInfo *> getCabAllFlags() override;
    EnumErrorCode IsSupportFlash() override;
    EnumErrorCode getCabinetSupport(CabinetBaseInfo &info) override;

private:
    friend class CabinetDescription; // reads the description without copying it

    CabinetInfo *m_pCabinet; // owned
};

} // namespace Correction
