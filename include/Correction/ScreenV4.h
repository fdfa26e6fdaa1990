#pragma once

#include <Correction/IScreen.h>

namespace Correction {

/// A screen made of sub-screens. It owns them.
class CORRECTION_EXPORT ScreenV4 : public IScreen
{
public:
    ScreenV4(); ///< Without sub-screens, name and id.
    /// Deletes the sub-screens.
    ~ScreenV4() override;
    ScreenV4(const ScreenV4 &) = delete;
    ScreenV4 &operator=(const ScreenV4 &) = delete;

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
    EnumErrorCode saveParameter(EnumSaveType type) override;
    EnumErrorCode applyCoeffcient(EnumCoefficientType type) override;
    EnumErrorCode clearCoefficient(EnumCoefficientType type) override;
    EnumErrorCode setEffectMode(EnumEffectMode mode) override;
    EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) override;
    EnumErrorCode setBrightness(int brightness) override;
    EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) override;
    EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) override;
    EnumErrorCode setMultilayerParameter(const MultilayerParam &param) override;
    EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) override;
    EnumErrorCode getBrightnessRange(BrightnessRange &range) override;
    ISubScreen *tryGetSubScreen(const QString &key) override;
    bool addSubScreen(const QString &key, ISubScreen *subScreen) override;
    bool removeSubScreen(const QString &key) override;
    void removeSubScreens() override;
    void setName(const QString &name) override;
    QString getName() override;
    void setID(const QString &id) override;
    QString getID() override;
    EnumErrorCode getSubScreenNames(QMap<QString, QString> names) override;
    EnumErrorCode setMutiCabinetSolid(EnumSaveType type) override;
    EnumErrorCode getFeatures(QMap<QString, bool> &features) override;
    EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) override;

private:
    /// The sub-screens in key order; rejected at a null one.
    QtPromise::QPromise<QList<ISubScreen *>> tryGetSubScreenList(QMap<QString, ISubScreen *> &subScreens);

    QMap<QString, ISubScreen *> m_subScreens; // owned
    QString m_name;
    QString m_id;
};

} // namespace Correction
