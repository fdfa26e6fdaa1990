#pragma once

#include "Act.h"

#include <adapter/Operations.h>

/// The wall's own behaviour, one function for each operation. VirtualWall.h describes them.
namespace Simulator::Acts {

/// What the wall does in an operation.
const Act &of(Adapter::Operation::Id operation);

// Coefficients.
Act load(Kind kind);
/// One block for the cabinet that the call names.
Act upload(Kind kind);
/// Blocks for many cabinets.
Act uploadMany(Kind kind);
/// For the cabinets that the request names under "cids".
Act copy(Kind kind, Store from, Store to);
Act clear(Kind kind);
/// The same for chroma, with a "type" in the request.
Act copyTyped(Store from, Store to);
Act clearTyped(Store store);
Answer saveSolid(WallState &, DeviceState *device, const Call &call);

// Settings of devices.
/// Takes the settings that the operation sets (DeviceSettings::fields()), and does nothing else.
Act setting(Adapter::Operation::Id operation);
Answer setScreenEffectMode(WallState &, DeviceState *device, const Call &call);
Answer setScreenBrightness(WallState &, DeviceState *device, const Call &call);
Answer setScreenGamma(WallState &, DeviceState *device, const Call &call);
Answer screenGamma(WallState &, DeviceState *device, const Call &call);
Answer setMultilayerParameter(WallState &, DeviceState *device, const Call &call);
Answer setMultilayerParameters(WallState &, DeviceState *device, const Call &call);
Answer lock(WallState &, DeviceState *device, const Call &call);
Answer unlock(WallState &, DeviceState *device, const Call &call);

// Settings of cabinets.
Answer setCabinetEffectMode(WallState &, DeviceState *device, const Call &call);
Answer cabinetEffectMode(WallState &, DeviceState *device, const Call &call);
Answer setCabinetBrightness(WallState &, DeviceState *device, const Call &call);
Answer brightnessRange(WallState &, DeviceState *device, const Call &call);
Answer setCabinetGamma(WallState &, DeviceState *device, const Call &call);
Answer cabinetGamma(WallState &, DeviceState *device, const Call &call);
Answer setConfigFile(WallState &, DeviceState *device, const Call &call);
Answer configFile(WallState &, DeviceState *device, const Call &call);
Answer setCabinetFlag(WallState &, DeviceState *device, const Call &call);
Answer setCabinetFlags(WallState &, DeviceState *device, const Call &call);
Answer setModuleFlags(WallState &, DeviceState *device, const Call &call);
Answer flashCheckCodes(WallState &, DeviceState *device, const Call &call);

// Descriptions.
Answer baseInfo(WallState &, DeviceState *device, const Call &call);
Answer allCabinets(WallState &, DeviceState *device, const Call &call);
Answer allFlags(WallState &, DeviceState *device, const Call &call);
Answer screens(WallState &, DeviceState *device, const Call &call);
Answer hardware(WallState &, DeviceState *device, const Call &call);

// Test images.
Answer setPixelImage(WallState &, DeviceState *device, const Call &call);
Answer setPixelImageMode(WallState &, DeviceState *device, const Call &call);
Answer setCheckerboard(WallState &, DeviceState *device, const Call &call);
Answer askCheckerboard(WallState &, DeviceState *device, const Call &call);
Answer clearImage(WallState &, DeviceState *device, const Call &call);

// Discovery.
Answer initialize(WallState &state, DeviceState *, const Call &call);
Answer deviceList(WallState &state, DeviceState *, const Call &call);

} // namespace Simulator::Acts
