#include "Acts.h"

#include <array>

namespace Simulator::Acts {

namespace {

using Adapter::Operation;

/// A new operation of the service does not compile until the wall has an act for it.
Act make(Operation::Id operation)
{
    switch (operation) {
    case Operation::Correctionop_loadCoefficient:
        return load(Kind::Chroma);
    case Operation::Correctionop_loadMultilayerCoefficient:
        return load(Kind::Multilayer);
    case Operation::Correctionop_uploadCoefficient:
        return upload(Kind::Chroma);
    case Operation::Correctionop_uploadMultilayerCoefficient:
        return upload(Kind::Multilayer);
    case Operation::Correctionop_uploadLowgrayCoefficient:
        return upload(Kind::LowGray);
    case Operation::Correctionop_uploadCoefficientAsync:
        return uploadMany(Kind::Chroma);
    case Operation::Correctionop_uploadMultilayerCoefficientAsync:
        return uploadMany(Kind::Multilayer);
    case Operation::Correctionop_uploadLowGrayCoefficientAsync:
        return uploadMany(Kind::LowGray);
    case Operation::Correctionop_saveCabinetsCoeffcient:
        return copy(Kind::Chroma, Store::Working, Store::User);
    case Operation::Correctionop_saveCabinetsMultilayerCoeffcient:
        return copy(Kind::Multilayer, Store::Working, Store::User);
    case Operation::Correctionop_saveCabinetsLowgrayCoeffcient:
        return copy(Kind::LowGray, Store::Working, Store::User);
    case Operation::Correctionop_applyCabinetsLowgrayCoeffcient:
        return copy(Kind::LowGray, Store::User, Store::Working);
    case Operation::Correctionop_clearCabinetsUserCoefficient:
        return clear(Kind::Chroma);
    case Operation::Correctionop_clearCabinetsMultilayerCoefficient:
        return clear(Kind::Multilayer);
    case Operation::Correctionop_clearCabinetsLowgrayCoefficient:
        return clear(Kind::LowGray);
    case Operation::Correctionop_saveCabinetsFactoryCoefficient:
        return copy(Kind::Chroma, Store::Working, Store::Factory);
    case Operation::Correctionop_showCabinetsCoefficient:
        return copy(Kind::Chroma, Store::User, Store::Working);
    case Operation::Correctionop_showCabinetsFactoryCoefficient:
        return copy(Kind::Chroma, Store::Factory, Store::Working);
    case Operation::Correctionop_showCabinetsModuleCoefficient:
        return copy(Kind::Chroma, Store::Module, Store::Working);
    case Operation::Correctionop_saveCabinetsModuleCoefficient:
        return copy(Kind::Chroma, Store::Working, Store::Module);
    case Operation::Correctionop_setCabinetsMultilayerParameter:
        return setMultilayerParameter;
    case Operation::Correctionop_setCabinetsMultilayerParameterV2:
        return setMultilayerParameters;
    case Operation::Correctionop_setMutiCabinetSolid:
        return saveSolid;
    case Operation::Correctionop_setScreenABLEnable:
        return setAblEnable;
    case Operation::Correctionop_setScreenXBit:
        return setXBit;
    case Operation::Correctionop_setScreenEffectMode:
        return setScreenEffectMode;
    case Operation::Correctionop_setCabinetEffectMode:
        return setCabinetEffectMode;
    case Operation::Correctionop_getCabinetEffectMode:
        return cabinetEffectMode;
    case Operation::Correctionop_getFlashCheckCode:
        return flashCheckCodes;
    case Operation::CabinetInfoOperator_setCabSingleBrightness:
        return setCabinetBrightness;
    case Operation::CabinetInfoOperator_setCabinetFlag:
        return setCabinetFlag;
    case Operation::CabinetInfoOperator_getCabinetBrightnessRange:
        return brightnessRange;
    case Operation::CabinetInfoOperator_getCabinetGammaCustomValue:
        return cabinetGamma;
    case Operation::CabinetInfoOperator_getConfigFile:
        return configFile;
    case Operation::CabinetInfoOperator_setCabinetGammaCustomValue:
        return setCabinetGamma;
    case Operation::CabinetInfoOperator_setSingleConfigFile:
        return setConfigFile;
    case Operation::CabinetInfoOperator_setCabinetSnflags:
        return setCabinetFlags;
    case Operation::CabinetInfoOperator_setModuleflags:
        return setModuleFlags;
    case Operation::CabinetInfoOperator_clearModuleCoefficient:
        return clearTyped(Store::Flash);
    case Operation::CabinetInfoOperator_saveModuleCoefficient:
        return copyTyped(Store::Working, Store::Flash);
    case Operation::CabinetInfoOperator_reloadModuleCoefficient:
        return copyTyped(Store::Flash, Store::Working);
    case Operation::CabinetInfoOperator_getCabinetsBaseInfo:
        return baseInfo;
    case Operation::CabinetInfoOperator_getAllCabinetsInfo:
        return allCabinets;
    case Operation::CabinetInfoOperator_getCabAllFlags:
        return allFlags;
    case Operation::ScreenInfo_getScreens:
        return screens;
    case Operation::ScreenInfo_getGammaAllList:
        return screenGamma;
    case Operation::ScreenInfo_setBrightness:
        return setScreenBrightness;
    case Operation::ScreenInfo_setGammaTable:
        return setScreenGamma;
    case Operation::ScreenInfo_setPixelImage:
        return setPixelImage;
    case Operation::ScreenInfo_setPixelImageMode:
        return setPixelImageMode;
    case Operation::ScreenInfo_setCheckerBoardImage:
        return setCheckerboard;
    case Operation::ScreenInfo_setCheckerBoardImage_Headers:
        return askCheckerboard;
    case Operation::ScreenInfo_setCorrectClearImage:
        return clearImage;
    case Operation::HWInfo_getHWInfo:
        return hardware;
    case Operation::HWInfo_lock:
        return lock;
    case Operation::HWInfo_unLock:
        return unlock;
    case Operation::HttpProxy_initialize:
        return initialize;
    case Operation::HttpProxy_getDeviceList:
        return deviceList;
    case Operation::Count:
        break;
    }
    return {};
}

} // namespace

const Act &of(Operation::Id operation)
{
    static const std::array<Act, Operation::Count> acts = [] {
        std::array<Act, Operation::Count> all;
        for (int i = 0; i < Operation::Count; ++i)
            all[static_cast<std::size_t>(i)] = make(static_cast<Operation::Id>(i));
        return all;
    }();
    return acts[static_cast<std::size_t>(operation)];
}

} // namespace Simulator::Acts
