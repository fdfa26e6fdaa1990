#include "Acts.h"

#include <simulator/DeviceSettings.h>

#include <array>

namespace Simulator::Acts {

namespace {

using Adapter::Operation;

struct Row {
    Operation::Id operation;
    Act act;
};

/// The operations that do more than to take settings.
const QVector<Row> &rows()
{
    static const QVector<Row> all{
        {Operation::Correctionop_loadCoefficient, load(Kind::Chroma)},
        {Operation::Correctionop_loadMultilayerCoefficient, load(Kind::Multilayer)},
        {Operation::Correctionop_uploadCoefficient, upload(Kind::Chroma)},
        {Operation::Correctionop_uploadMultilayerCoefficient, upload(Kind::Multilayer)},
        {Operation::Correctionop_uploadLowgrayCoefficient, upload(Kind::LowGray)},
        {Operation::Correctionop_uploadCoefficientAsync, uploadMany(Kind::Chroma)},
        {Operation::Correctionop_uploadMultilayerCoefficientAsync, uploadMany(Kind::Multilayer)},
        {Operation::Correctionop_uploadLowGrayCoefficientAsync, uploadMany(Kind::LowGray)},
        {Operation::Correctionop_saveCabinetsCoeffcient, copy(Kind::Chroma, Store::Working, Store::User)},
        {Operation::Correctionop_saveCabinetsMultilayerCoeffcient, copy(Kind::Multilayer, Store::Working, Store::User)},
        {Operation::Correctionop_saveCabinetsLowgrayCoeffcient, copy(Kind::LowGray, Store::Working, Store::User)},
        {Operation::Correctionop_applyCabinetsLowgrayCoeffcient, copy(Kind::LowGray, Store::User, Store::Working)},
        {Operation::Correctionop_clearCabinetsUserCoefficient, clear(Kind::Chroma)},
        {Operation::Correctionop_clearCabinetsMultilayerCoefficient, clear(Kind::Multilayer)},
        {Operation::Correctionop_clearCabinetsLowgrayCoefficient, clear(Kind::LowGray)},
        {Operation::Correctionop_saveCabinetsFactoryCoefficient, copy(Kind::Chroma, Store::Working, Store::Factory)},
        {Operation::Correctionop_showCabinetsCoefficient, copy(Kind::Chroma, Store::User, Store::Working)},
        {Operation::Correctionop_showCabinetsFactoryCoefficient, copy(Kind::Chroma, Store::Factory, Store::Working)},
        {Operation::Correctionop_showCabinetsModuleCoefficient, copy(Kind::Chroma, Store::Module, Store::Working)},
        {Operation::Correctionop_saveCabinetsModuleCoefficient, copy(Kind::Chroma, Store::Working, Store::Module)},
        {Operation::Correctionop_setCabinetsMultilayerParameter, setMultilayerParameter},
        {Operation::Correctionop_setCabinetsMultilayerParameterV2, setMultilayerParameters},
        {Operation::Correctionop_setMutiCabinetSolid, saveSolid},
        {Operation::Correctionop_setScreenEffectMode, setScreenEffectMode},
        {Operation::Correctionop_setCabinetEffectMode, setCabinetEffectMode},
        {Operation::Correctionop_getCabinetEffectMode, cabinetEffectMode},
        {Operation::Correctionop_getFlashCheckCode, flashCheckCodes},
        {Operation::CabinetInfoOperator_setCabSingleBrightness, setCabinetBrightness},
        {Operation::CabinetInfoOperator_setCabinetFlag, setCabinetFlag},
        {Operation::CabinetInfoOperator_getCabinetBrightnessRange, brightnessRange},
        {Operation::CabinetInfoOperator_getCabinetGammaCustomValue, cabinetGamma},
        {Operation::CabinetInfoOperator_getConfigFile, configFile},
        {Operation::CabinetInfoOperator_setCabinetGammaCustomValue, setCabinetGamma},
        {Operation::CabinetInfoOperator_setSingleConfigFile, setConfigFile},
        {Operation::CabinetInfoOperator_setCabinetSnflags, setCabinetFlags},
        {Operation::CabinetInfoOperator_setModuleflags, setModuleFlags},
        {Operation::CabinetInfoOperator_clearModuleCoefficient, clearTyped(Store::Flash)},
        {Operation::CabinetInfoOperator_saveModuleCoefficient, copyTyped(Store::Working, Store::Flash)},
        {Operation::CabinetInfoOperator_reloadModuleCoefficient, copyTyped(Store::Flash, Store::Working)},
        {Operation::CabinetInfoOperator_getCabinetsBaseInfo, baseInfo},
        {Operation::CabinetInfoOperator_getAllCabinetsInfo, allCabinets},
        {Operation::CabinetInfoOperator_getCabAllFlags, allFlags},
        {Operation::ScreenInfo_getScreens, screens},
        {Operation::ScreenInfo_getGammaAllList, screenGamma},
        {Operation::ScreenInfo_setBrightness, setScreenBrightness},
        {Operation::ScreenInfo_setGammaTable, setScreenGamma},
        {Operation::ScreenInfo_setPixelImage, setPixelImage},
        {Operation::ScreenInfo_setPixelImageMode, setPixelImageMode},
        {Operation::ScreenInfo_setCheckerBoardImage, setCheckerboard},
        {Operation::ScreenInfo_setCheckerBoardImage_Headers, askCheckerboard},
        {Operation::ScreenInfo_setCorrectClearImage, clearImage},
        {Operation::HWInfo_getHWInfo, hardware},
        {Operation::HWInfo_lock, lock},
        {Operation::HWInfo_unLock, unlock},
        {Operation::HttpProxy_initialize, initialize},
        {Operation::HttpProxy_getDeviceList, deviceList},
    };
    return all;
}

} // namespace

const Act &of(Operation::Id operation)
{
    static const std::array<Act, Operation::Count> acts = [] {
        std::array<Act, Operation::Count> all;
        DeviceSettings::fields([&](const char *, auto, Operation::Id setter, const char *) {
            all[static_cast<std::size_t>(setter)] = setting(setter);
        });
        for (const Row &row : rows())
            all[static_cast<std::size_t>(row.operation)] = row.act;
        for (const Operation &each : Adapter::operations()) {
            if (!all[static_cast<std::size_t>(each.id)])
                qFatal("%s: the wall has no act for it", qPrintable(each.name));
        }
        return all;
    }();
    return acts[static_cast<std::size_t>(operation)];
}

} // namespace Simulator::Acts
