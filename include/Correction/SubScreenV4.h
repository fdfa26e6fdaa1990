#pragma once

#include <Correction/ISubScreen.h>

namespace Correction {

/// A sub-screen on the device service. It holds the ids of its cabinets and looks them up in the registry for each
/// operation.
class CORRECTION_EXPORT SubScreenV4 : public ISubScreen
{
public:
    /// The part of this device, without cabinets.
    explicit SubScreenV4(const QString &deviceKey);
    ~SubScreenV4() override;

    EnumErrorCode setABLEnable(bool enable) override;
    EnumErrorCode setXBit(EnumXBitMode mode, bool enable) override;
    EnumErrorCode lock() override;
    EnumErrorCode unLock() override;
    EnumErrorCode tryGetRect(QRect &rect) override;
    EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &list) override;
    EnumErrorCode setPixelImage(DrawingParameter param) override;
    EnumErrorCode setCheckerboardlImage(DrawingCheckerboard param) override;
    EnumErrorCode setPixelImageMode(unsigned char mode) override;
    EnumErrorCode tryGetCoefficients(const QRect &rect, ICoefficient &coefficient) override;
    EnumErrorCode setCoefficients(const QRect &rect, ICoefficient &coefficient) override;
    QtPromise::QPromise<EnumErrorCode> setCoefficientsAsync(const QRect &rect, ICoefficient &coefficient) override;
    EnumErrorCode saveParameter(EnumSaveType type) override;
    EnumErrorCode applyCoeffcient(EnumCoefficientType type) override;
    EnumErrorCode clearCoefficient(EnumCoefficientType type) override;
    EnumErrorCode setEffectMode(EnumEffectMode mode) override;
    EnumErrorCode setBrightness(int brightness) override;
    EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) override;
    EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) override;
    EnumErrorCode setMultilayerParameter(const MultilayerParam &param) override;
    EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) override;
    EnumErrorCode getBrightnessRange(BrightnessRange &range) override;
    EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) override;
    bool addCabinet(QString cabinetId, QString cabinetFlag) override;
    bool removeCabinet(const QString &cabinetId) override;
    void removeCabinets() override;
    EnumErrorCode setMutiCabinetSolid(EnumSaveType type) override;
    EnumErrorCode isCheckerboardlImage() override;
    EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) override;

private:
    friend class SubScreenWrite; // starts a write without waiting for it
    friend class CabinetPlacer;  // adds cabinets in their order

    QMap<QString, QString> m_cabinets; // id -> flag
    QString m_deviceKey;
};

} // namespace Correction
