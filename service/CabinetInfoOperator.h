#pragma once

#include <service/ServiceGlobal.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Device service: settings and descriptions of cabinets. The host provides the definitions. The conventions (arguments,
/// blocking, false on a timeout or a refusal) are those of Correctionop.
class CORRECTION_SERVICE_API CabinetInfoOperator
{
public:
    /// The process-wide instance; stays owned by the service. Fetched again for every call.
    static CabinetInfoOperator *getInstance();

    /// Sets the brightness of one cabinet.
    /// - Request: {"value" int (the service's unit; the library does not check it)}
    /// - Reply: not read
    /// - Called by: ICabinet::setBrightness
    /// - After false: Nothing: the caller returns enSuccess.
    bool setCabSingleBrightness(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &request,
                                QMap<QString, QVariant> &reply);

    /// Sets the flag of one cabinet.
    /// - Request: {"flag" QString (any text)}
    /// - Reply: not read
    /// - Called by: ICabinet::setFlag
    bool setCabinetFlag(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &request,
                        QMap<QString, QVariant> &reply);

    /// Reads the range of the cabinet's brightness.
    /// - Reply: {"brightness.min" uint, "brightness.max" uint, "brightness.default" uint}
    /// - Called by: getBrightnessRange of ICabinet, ISubScreen and IScreen
    /// - After false: ICabinet returns enTimeout; the others ask the next cabinet, and return enTimeout when none answers.
    bool getCabinetBrightnessRange(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);

    /// Reads the gamma tables of one cabinet.
    /// - Reply: {"redGamma" QList<int> (entries of the curve, from dark to bright), "greenGamma" QList<int> (the same; the
    ///   library files it as channel 2), "blueGamma" QList<int> (the same; the library files it as channel 1)}
    /// - Called by: ICabinet::getGammaTable
    bool getCabinetGammaCustomValue(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);

    /// Reads the configuration file of one cabinet.
    /// - Reply: {"config" QString (base64: the bytes of the file)}
    /// - Called by: ICabinet::getConfigFile
    /// - After false: The caller returns enTimeout. After true without "config" the host's file is left empty, with
    ///   enSuccess.
    bool getConfigFile(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);

    /// Sets the gamma table of one channel of one cabinet.
    /// - Request: {"type" int (channel: 0 red, 1 blue, 2 green), "gammaTable" QList<int> (entries of the curve, from dark to
    ///   bright)}
    /// - Reply: not read
    /// - Called by: ICabinet::setGammaTable, once for each channel
    /// - After false: The caller returns enTimeout and sends no further channel.
    bool setCabinetGammaCustomValue(const QString &deviceKey, const QString &cabinetId,
                                    const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);

    /// Sets the configuration file of one cabinet.
    /// - Request: {"idList" [qulonglong (cabinet id)] (the cabinet), "config" QString (base64: the bytes of the file)}
    /// - Reply: not read
    /// - Called by: ICabinet::setConfigFile
    bool setSingleConfigFile(const QString &deviceKey, const QString &cabinetId, const QMap<QString, QVariant> &request,
                             QMap<QString, QVariant> &reply);

    /// Sets the flags of cabinets.
    /// - Request: [{"id" qulonglong (cabinet id), "flag" QString (any text)}]
    /// - Reply: not read
    /// - Called by: ICabinet::setCabinetflags
    bool setCabinetSnflags(const QString &deviceKey, const QList<QVariant> &request, QMap<QString, QVariant> &reply);

    /// Sets the flags of modules.
    /// - Request: [{"id" qulonglong (cabinet id), "moduleflags" [{"id" QString (module id), "flag" QString (any text)}] (one
    ///   map for each module)}]
    /// - Reply: not read
    /// - Called by: ICabinet::setModuleflags
    bool setModuleflags(const QString &deviceKey, const QList<QVariant> &request, QMap<QString, QVariant> &reply);

    /// Clears the modules' flash memory.
    /// - Request: {"cids" [qulonglong (cabinet id)] (the cabinet), "type" int (the caller's; 3 triples the allowance)}
    /// - Reply: not read
    /// - Last argument: int: how long the device may take, in the service's time unit
    /// - Called by: ICabinet::clearModuleCoefficient
    bool clearModuleCoefficient(const QString &deviceKey, QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply,
                                int allowance);

    /// Saves the chroma coefficients that the cabinets show into the modules' flash memory.
    /// - Request: {"cids" [qulonglong (cabinet id)] (the cabinet), "type" int (the caller's; 3 triples the allowance)}
    /// - Reply: not read
    /// - Last argument: int: how long the device may take, in the service's time unit
    /// - Called by: ICabinet::saveModuleCoefficient
    bool saveModuleCoefficient(const QString &deviceKey, QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply,
                               int allowance);

    /// Shows the chroma coefficients of the modules' flash memory.
    /// - Request: {"cids" [qulonglong (cabinet id)] (the cabinet), "type" int (the caller's; 3 triples the allowance)}
    /// - Reply: not read
    /// - Last argument: int: how long the device may take, in the service's time unit
    /// - Called by: ICabinet::reloadModuleCoefficient
    bool reloadModuleCoefficient(const QString &deviceKey, QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply,
                                 int allowance);

    /// Reads the features of the cabinets, in one map or more.
    /// - Reply: [{"functionTable" {"multilayercorrection" bool, "multilayerCorrectionLayer" uint (number of layers, kept
    ///   modulo 256), "fineGrayscale" bool, "xBitPlus" bool, "magicGray" bool} (the features)}]
    /// - Called by: getScreenSupport of ISubScreen and IScreen, ICabinet::getCabinetSupport (which takes the first map)
    /// - After false: The caller returns enTimeout. After true with an empty list getCabinetSupport returns
    ///   enInvalidParameter.
    bool getCabinetsBaseInfo(const QString &deviceKey, QList<QVariant> &reply);

    /// Lists every cabinet that the device drives.
    /// - Reply: [{"id" QString (cabinet id, a decimal number, unique over all devices), "outputID" QString (the output that
    ///   drives the cabinet)}]
    /// - Last argument: bool: true
    /// - Called by: ScreenManager::refreshScreen
    /// - After false: One critical line; the refresh leaves the device out.
    bool getAllCabinetsInfo(const QString &deviceKey, QList<QVariant> &reply, bool refresh);

    /// Describes the cabinets with their receiving cards and modules. A cabinet that has a place and is not described here
    /// is left out without a message.
    /// - Reply: [{"id" QString (cabinet id), "flag" QString, "recvcardflags" [{"id" QString, "flag" QString, "x" int
    ///   (pixels), "y" int (pixels), "width" int (pixels), "height" int (pixels), "moduleflags" [{"id" QString, "flag"
    ///   QString, "x" int (pixels), "y" int (pixels), "width" int (pixels), "height" int (pixels)}] (the card's modules)}]
    ///   (the cabinet's receiving cards)}]
    /// - Called by: ScreenManager::refreshScreen
    /// - After false: One debug line; the refresh leaves the device out.
    bool getCabAllFlags(const QString &deviceKey, QList<QVariant> &reply);
};
