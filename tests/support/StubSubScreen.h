#pragma once

#include <Correction/ISubScreen.h>

namespace TestSupport {

using namespace Correction;

/// A host's own sub-screen that does nothing and succeeds: tests override what they need.
class StubSubScreen : public ISubScreen
{
public:
    EnumErrorCode setABLEnable(bool) override { return enSuccess; }
    EnumErrorCode setXBit(EnumXBitMode, bool) override { return enSuccess; }
    EnumErrorCode lock() override { return enSuccess; }
    EnumErrorCode unLock() override { return enSuccess; }
    EnumErrorCode tryGetRect(QRect &) override { return enSuccess; }
    EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &) override { return enSuccess; }
    EnumErrorCode setPixelImage(DrawingParameter) override { return enSuccess; }
    EnumErrorCode setCheckerboardlImage(DrawingCheckerboard) override { return enSuccess; }
    EnumErrorCode setPixelImageMode(unsigned char) override { return enSuccess; }
    EnumErrorCode tryGetCoefficients(const QRect &, ICoefficient &) override { return enSuccess; }
    EnumErrorCode setCoefficients(const QRect &, ICoefficient &) override { return enSuccess; }
    QtPromise::QPromise<EnumErrorCode> setCoefficientsAsync(const QRect &, ICoefficient &) override
    {
        return QtPromise::resolve(EnumErrorCode(enSuccess));
    }
    EnumErrorCode saveParameter(EnumSaveType) override { return enSuccess; }
    EnumErrorCode applyCoeffcient(EnumCoefficientType) override { return enSuccess; }
    EnumErrorCode clearCoefficient(EnumCoefficientType) override { return enSuccess; }
    EnumErrorCode setEffectMode(EnumEffectMode) override { return enSuccess; }
    EnumErrorCode setBrightness(int) override { return enSuccess; }
    EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &) override { return enSuccess; }
    EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &) override { return enSuccess; }
    EnumErrorCode setMultilayerParameter(const MultilayerParam &) override { return enSuccess; }
    EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &) override { return enSuccess; }
    EnumErrorCode getBrightnessRange(BrightnessRange &) override { return enSuccess; }
    EnumErrorCode tryGetEffectMode(EnumEffectMode &) override { return enSuccess; }
    bool addCabinet(QString, QString) override { return false; }
    bool removeCabinet(const QString &) override { return false; }
    void removeCabinets() override {}
    EnumErrorCode setMutiCabinetSolid(EnumSaveType) override { return enSuccess; }
    EnumErrorCode isCheckerboardlImage() override { return enSuccess; }
    EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &) override { return enSuccess; }
};

} // namespace TestSupport
