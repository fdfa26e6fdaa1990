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

/// One cabinet: the smallest unit that talks to hardware. No virtual destructor: release a cabinet that the registry does
/// not own with `CabinetPtr`.
///
/// Every operation runs on the caller's thread and blocks until the device has answered. There is no lock: concurrent calls
/// on one cabinet are the caller's concern.
///
/// Results, where nothing else is said: `enSuccess`; `enInvalidParameter` when the cabinet has no description (nothing is
/// sent, nothing is logged); `enTimeout` when the device did not answer in time or refused. Outputs are unchanged after a
/// failure. A key that a device's reply lacks reads as 0, empty or false.
///
/// "Logs enTimeout" means one critical line. A service that is missing or throws is `enTimeout` too, and always logged.
class CORRECTION_EXPORT ICabinet
{
public:
    /// Assigns the description to `info`, whose own `flag` stays (see `CabinetInfo`). Sends nothing. Does not log failures.
    virtual EnumErrorCode GetCabinetInfo(CabinetInfo &info) = 0;
    /// Fills a chroma grid with the coefficients that the cabinet shows, resizing it to the cabinet.
    /// - `enNotSupported`: a low-gray grid or an unknown kind. Nothing is sent or logged.
    /// - `enArgumentMismatch`: every `MultilayerCoefficient`, after the device has answered (not logged); a block of the
    ///   reply without values (one critical line).
    /// - `enInvalidParameter`: no description (one critical line); a block that does not fit into the cabinet (two critical
    ///   lines); a cabinet of negative or too large size (one critical line). Blocks before the failing one stay in the
    ///   grid.
    ///
    /// Does not log `enTimeout`.
    virtual EnumErrorCode tryGetCoefficients(ICoefficient &coefficient) = 0;
    /// Uploads a grid of any kind with its top-left pixel at `position` (pixels, cabinet frame). A negative position is not
    /// refused: it is sent as it is. What is uploaded shows at once and is lost at power-off unless saved.
    /// - `enArgumentMismatch`: the grid would end right of or below the cabinet. Nothing is sent or logged.
    /// - `enNotSupported`: an unknown kind. Nothing is sent or logged.
    /// - `enInvalidParameter`: also, with one critical line, a grid whose values do not fit into one QString as base64
    ///   (about 800 MB). Nothing is sent.
    ///
    /// Does not log `enTimeout`.
    virtual EnumErrorCode setCoefficients(const QPoint &position, ICoefficient &coefficient) = 0;
    /// Makes the device store the uploaded coefficients of a kind. `enNotSupported`, not logged: an unknown kind. Logs
    /// `enTimeout`.
    virtual EnumErrorCode saveParameter(EnumSaveType type) = 0;
    /// Makes the device apply its stored low-gray coefficients. `enNotSupported`, not logged: every other kind. Logs
    /// `enTimeout`.
    virtual EnumErrorCode applyCoeffcient(EnumCoefficientType type) = 0;
    /// Sets the correction effect mode. The number is the device's; it is sent unchecked. Does not log failures.
    virtual EnumErrorCode setEffectMode(EnumEffectMode mode) = 0;
    /// Sets the brightness in the device's own steps (see `getBrightnessRange`; the value is not checked). Always
    /// `enSuccess` for a cabinet with a description, whether the device took the value or not. No operation reads the
    /// current value. Does not log failures.
    virtual EnumErrorCode setBrightness(int brightness) = 0;
    /// Replaces the entries 0 to 2 of `table`; others stay. A cabinet's channels are 0 red, 1 blue, 2 green: the entry
    /// `enGreenGamma` holds the blue curve and `enBlueGamma` the green one, unlike those of sub-screens and screens. Does
    /// not log failures.
    virtual EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sends the entries one by one, each under its number, in ascending order; the channels are those of `getGammaTable`.
    /// Stops at the first that fails: those before it are set. Sends nothing for an empty table. Does not log failures.
    virtual EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Reads the permitted brightness. Does not log failures.
    virtual EnumErrorCode getBrightnessRange(BrightnessRange &range) = 0;
    /// Reads the cabinet's configuration file from the device into the local file `path`. After the device has answered an
    /// existing file is truncated and then written; a reply without a configuration leaves an empty file, with `enSuccess`.
    /// `enFileError`: the file could not be opened (not logged), or not be written in full (one critical line; what was
    /// written stays). Logs `enTimeout`; the file is not touched then.
    virtual EnumErrorCode getConfigFile(const QString &path) = 0;
    /// Sends the local file `path` as the cabinet's configuration. `enFileError`, with nothing sent: the file could not be
    /// opened (not logged), not be read in full, or is too large for one QString as base64 (about 800 MB; one critical line
    /// each). Logs `enTimeout`.
    virtual EnumErrorCode setConfigFile(const QString &path) = 0;
    /// Writes the flag to the device and, when that took it, into the description. Does not log failures.
    virtual EnumErrorCode setFlag(const QString &flag) = 0;
    /// The description's flag. Sends nothing. Does not log failures.
    virtual EnumErrorCode getFlag(QString &flag) = 0;
    /// Reads the correction effect mode. Does not log failures.
    virtual EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) = 0;
    /// Appends one entry for each receiving card; `list` is not cleared. Logs `enTimeout`.
    virtual EnumErrorCode getFlashCheckInfo(QList<RxCardFlashCheckInfo> &list) = 0;
    /// The description's id, null without a description. Sends nothing.
    virtual QString getID() = 0;
    /// The key of the device that drives the cabinet, null without a description. Sends nothing.
    virtual QString getDeviceKey() = 0;
    /// Writes the cabinet's serial-number flag to the device; the description's flag stays. Logs `enTimeout`.
    virtual EnumErrorCode setCabinetflags(const QString &flag) = 0;
    /// Writes flags to modules of the device; those in the description stay (see `getCabAllFlags`). `enArgumentMismatch`,
    /// not logged: an empty list. Logs `enTimeout`.
    virtual EnumErrorCode setModuleflags(QList<CabinetsModuleFlag> &flags) = 0;
    /// Clears the coefficients in the modules' flash memory. `type` goes to the device unchanged, for this and the next two
    /// operations; 3 triples the time that the device is given. That time follows from the size of the description's first
    /// receiving card. `enInvalidParameter`, not logged: a description without receiving cards. Logs `enTimeout`.
    virtual EnumErrorCode clearModuleCoefficient(int type) = 0;
    /// Saves the coefficients that the cabinet shows into the modules' flash memory, after a flash check, whose check codes
    /// do not matter. The time that the device is given follows from the size of the first module and the number of modules
    /// of the check's first receiving card. `enNotSupported`, with one critical line: the check lists no card, or no module
    /// of the first one. Logs `enTimeout`, with two lines when it is the check's.
    virtual EnumErrorCode saveModuleCoefficient(int type) = 0;
    /// Makes the cabinet show the coefficients of the modules' flash memory. The check, its failures and the log are those
    /// of `saveModuleCoefficient`, the time and `enInvalidParameter` those of `clearModuleCoefficient`.
    virtual EnumErrorCode reloadModuleCoefficient(int type) = 0;
    /// The modules of all receiving cards as the last refresh read them, owned by the description: their flags are not
    /// changed by `setModuleflags`. The next refresh deletes the modules or fills them again, so a list that is kept longer
    /// must not be used. Sends nothing. Empty without a description.
    virtual QList<ModuleInfo *> getCabAllFlags() = 0;
    /// `enSuccess` when every module of every receiving card passed its flash check. `enNotSupported`: one did not (not
    /// logged), or the check lists no card, or a card without modules (one critical line). Logs `enTimeout` with two lines.
    virtual EnumErrorCode IsSupportFlash() = 0;
    /// The feature switches of the first map of the device's reply, whichever cabinet this is. `enInvalidParameter`: also an
    /// empty reply (two critical lines). Logs `enTimeout`.
    virtual EnumErrorCode getCabinetSupport(CabinetBaseInfo &info) = 0;
};

} // namespace Correction
