#pragma once

#include <Correction/ICabinet.h>

namespace TestSupport {

using namespace Correction;

/// A host's own cabinet without name that supports nothing: tests override what they need. It holds nothing that only a
/// destructor would release, since the registry runs none.
class StubCabinet : public ICabinet
{
public:
    QString getID() override { return QString(); }
    QString getDeviceKey() override { return QString(); }

    EnumErrorCode GetCabinetInfo(CabinetInfo &) override { return other(); }
    EnumErrorCode tryGetCoefficients(ICoefficient &) override { return other(); }
    EnumErrorCode setCoefficients(const QPoint &, ICoefficient &) override { return other(); }
    EnumErrorCode saveParameter(EnumSaveType) override { return other(); }
    EnumErrorCode applyCoeffcient(EnumCoefficientType) override { return other(); }
    EnumErrorCode setEffectMode(EnumEffectMode) override { return other(); }
    EnumErrorCode setBrightness(int) override { return other(); }
    EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &) override { return other(); }
    EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &) override { return other(); }
    EnumErrorCode getBrightnessRange(BrightnessRange &) override { return other(); }
    EnumErrorCode getConfigFile(const QString &) override { return other(); }
    EnumErrorCode setConfigFile(const QString &) override { return other(); }
    EnumErrorCode setFlag(const QString &) override { return other(); }
    EnumErrorCode getFlag(QString &) override { return other(); }
    EnumErrorCode tryGetEffectMode(EnumEffectMode &) override { return other(); }
    EnumErrorCode getFlashCheckInfo(QList<RxCardFlashCheckInfo> &) override { return other(); }
    EnumErrorCode setCabinetflags(const QString &) override { return other(); }
    EnumErrorCode setModuleflags(QList<CabinetsModuleFlag> &) override { return other(); }
    EnumErrorCode clearModuleCoefficient(int) override { return other(); }
    EnumErrorCode saveModuleCoefficient(int) override { return other(); }
    EnumErrorCode reloadModuleCoefficient(int) override { return other(); }
    QList<ModuleInfo *> getCabAllFlags() override
    {
        other();
        return {};
    }
    EnumErrorCode IsSupportFlash() override { return other(); }
    EnumErrorCode getCabinetSupport(CabinetBaseInfo &) override { return other(); }

    int otherCalls = 0; ///< of operations that were not overridden

private:
    EnumErrorCode other()
    {
        ++otherCalls;
        return enNotSupported;
    }
};

} // namespace TestSupport
