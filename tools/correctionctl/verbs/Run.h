#pragma once

namespace Ctl {

class Session;

/// What the verbs do, by the files that hold them. Each throws a Failure, or prints its result and returns.
namespace Run {

// ScreenVerbs.cpp
void screens(Session &session);
void tree(Session &session);
void show(Session &session);
void cabinets(Session &session);
void features(Session &session);
void support(Session &session);
void watch(Session &session);

// TransferVerbs.cpp
void read(Session &session);
void write(Session &session);
void save(Session &session);
void apply(Session &session);
void clear(Session &session);
void solid(Session &session);

// DiffVerb.cpp
void diff(Session &session);

// SnapshotVerbs.cpp
void snapshot(Session &session);
void restore(Session &session);

// SettingVerbs.cpp
void set(Session &session);
void brightness(Session &session);
void gamma(Session &session);
void effect(Session &session);
void xbit(Session &session);
void abl(Session &session);
void multilayer(Session &session);
void lock(Session &session);
void unlock(Session &session);

// PatternVerbs.cpp
void patternPixel(Session &session);
void patternCheckerboard(Session &session);
void patternMode(Session &session);
void patternClear(Session &session);

// CabinetVerbs.cpp
void cabinetInfo(Session &session);
void cabinetRead(Session &session);
void cabinetWrite(Session &session);
void cabinetSave(Session &session);
void cabinetApply(Session &session);
void cabinetBrightness(Session &session);
void cabinetEffect(Session &session);
void cabinetGamma(Session &session);
void cabinetFlag(Session &session);
void cabinetSerialFlag(Session &session);
void cabinetFlags(Session &session);
void cabinetConfigGet(Session &session);
void cabinetConfigPut(Session &session);
void cabinetFlash(Session &session);
void cabinetModuleSave(Session &session);
void cabinetModuleReload(Session &session);
void cabinetModuleClear(Session &session);
void cabinetModuleFlag(Session &session);
void cabinetSupport(Session &session);

// GroupVerbs.cpp
void groupSave(Session &session);
void groupShow(Session &session);
void groupClear(Session &session);
void groupAverage(Session &session);
void groupSolid(Session &session);

// WallVerbs.cpp
void wallCreate(Session &session);
void wallDescribe(Session &session);
void wallRender(Session &session);

// Doctor.cpp
void doctor(Session &session);

// TableVerb.cpp
void verbTable(Session &session);

} // namespace Run
} // namespace Ctl
