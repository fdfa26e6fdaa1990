#pragma once

#include <Correction/BrightnessRange.h>
#include <Correction/CabinetBaseInfo.h>
#include <Correction/CabinetInfo.h>
#include <Correction/CabinetsModuleFlag.h>
#include <Correction/Enumerations.h>
#include <Correction/FlashCheckInfo.h>
#include <Correction/Global.h>
#include <Correction/ICoefficient.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QPoint>
#include <QtCore/QString>

namespace Correction {

/// One cabinet: the smallest unit that talks to hardware.
///
/// Every operation runs on the caller's thread and blocks until the device has answered. Results, where nothing else is
/// said: 0; 3 when the cabinet has no description (nothing is sent); 5 when the device did not answer in time or refused. A
/// key that a device's reply lacks reads as 0, empty or false. No virtual destructor.
class CORRECTION_EXPORT ICabinet
{
public:
    /// Assigns the description to `info`, whose own `flag` stays (see `CabinetInfo`). Asks no device. 0 or 3.
    virtual EnumErrorCode GetCabinetInfo(CabinetInfo &info) = 0;
    /// Fills a chroma grid with the cabinet's coefficients, resizing it to the cabinet. 7 for a low-gray grid; otherwise
    /// also the codes of `RequestParser` (1 for every `MultilayerCoefficient`).
    virtual EnumErrorCode tryGetCoefficients(ICoefficient &coefficient) = 0;
    /// Uploads a grid of any kind with its top-left pixel at `position` (pixels, cabinet frame). 1 when it would end right
    /// of or below the cabinet; 7 for an unknown kind; 3, with one critical line, for a grid whose values do not fit into
    /// one QString as base64 (about 800 MB). What is uploaded shows at once and is lost at power-off unless saved.
    virtual EnumErrorCode setCoefficients(const QPoint &position, ICoefficient &coefficient) = 0;
    /// Makes the device store the uploaded coefficients of a kind. 7 for an unknown kind.
    virtual EnumErrorCode saveParameter(EnumSaveType type) = 0;
    /// Makes the device apply its stored low-gray coefficients. 7 for every other kind.
    virtual EnumErrorCode applyCoeffcient(EnumCoefficientType type) = 0;
    virtual EnumErrorCode setEffectMode(EnumEffectMode mode) = 0;
    /// Always 0 for a cabinet with a description: whether the device took the value is not reported.
    virtual EnumErrorCode setBrightness(int brightness) = 0;
    /// Sets the entries of the three channels. The reply's blue table is filed under channel 1 and its green one under 2.
    virtual EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sends channel after channel, in ascending order, and stops at the first that fails.
    virtual EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) = 0;
    virtual EnumErrorCode getBrightnessRange(BrightnessRange &range) = 0;
    /// Reads the cabinet's configuration file from the device into the local file `path`, replacing it. 4 when that cannot
    /// be opened or written in full (the device has been asked by then).
    virtual EnumErrorCode getConfigFile(const QString &path) = 0;
    /// Sends the local file `path` as the cabinet's configuration. 4 when it cannot be opened, or, with one
    /// critical line, when it cannot be read or is too large for one QString as base64 (about 800 MB). Nothing is sent then.
    virtual EnumErrorCode setConfigFile(const QString &path) = 0;
    /// Writes the flag to the device and, when that took it, into the description.
    virtual EnumErrorCode setFlag(const QString &flag) = 0;
    /// The description's flag. Asks no device. 0 or 3.
    virtual EnumErrorCode getFlag(QString &flag) = 0;
    virtual EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) = 0;
    /// Appends one entry for each receiving card; `list` is not cleared.
    virtual EnumErrorCode getFlashCheckInfo(QList<RxCardFlashCheckInfo> &list) = 0;
    virtual QString getID() = 0;
    virtual QString getDeviceKey() = 0;
    /// Writes the cabinet's serial-number flag to the device; the description's flag stays.
    virtual EnumErrorCode setCabinetflags(const QString &flag) = 0;
    /// Writes flags to modules. 1 for an empty list.
    virtual EnumErrorCode setModuleflags(QList<CabinetsModuleFlag> &flags) = 0;
    /// Module flash. `type` goes to the device unchanged; 3 triples the time that the device is given. 3 also for a cabinet
    /// without receiving cards (clearing and reloading); 7 when the flash check lists no card or no module (saving and
    /// reloading).
    virtual EnumErrorCode clearModuleCoefficient(int type) = 0;
    virtual EnumErrorCode saveModuleCoefficient(int type) = 0;
    virtual EnumErrorCode reloadModuleCoefficient(int type) = 0;
    /// The modules of all receiving cards. They stay owned by the description.
    virtual QList<ModuleInfo *> getCabAllFlags() = 0;
    /// 0 when every module of every receiving card passed its flash check; 7 when one did not, or none is listed.
    virtual EnumErrorCode IsSupportFlash() = 0;
    /// The feature switches that the cabinet's device reports. 3 also for an empty reply.
    virtual EnumErrorCode getCabinetSupport(CabinetBaseInfo &info) = 0;
};

} // namespace Correction
