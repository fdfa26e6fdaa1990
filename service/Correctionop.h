#pragma once

#include <service/Promise.h>
#include <service/ServiceGlobal.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Device service: correction data of cabinets (coefficients, effect mode, x-bit, ABL, multilayer parameters, flash check
/// codes). The host provides the definitions; this header only declares what the library calls.
///
/// Every operation blocks the caller until the device has answered and returns true, or returns false when the device did
/// not answer in time or refused; a null getInstance() and an exception count as false, but for std::bad_alloc, which
/// reaches the host. The uploads that return a promise do not block; the promise is fulfilled with true when the device took
/// everything, and may settle on any thread.
///
/// `deviceKey` names one controller device, `cabinetId` is a decimal number held as a string, unique over all devices;
/// `screen` is "255" for settings and "0" for reading gamma tables. Requests and replies are described as {"key" type
/// (meaning), ...} for a map and [...] for a list. `reply` is passed in empty; after false its content is not looked at, but
/// for HWInfo::getHWInfo in a refresh and the response headers of ScreenInfo::setCheckerBoardImage. Where nothing else is
/// said about false, the library's operation returns enTimeout; its own header says whether it logs that. docs/service.md
/// has the same as tables.
///
/// The comments of the operations, here and in the other headers, are written by scripts/service-page.
class CORRECTION_SERVICE_API Correctionop
{
public:
    /// The process-wide instance; stays owned by the service. Fetched again for every call.
    static Correctionop *getInstance();

    /// Reads the chroma coefficients that the cabinet shows, in one block or more. Pixels that no block covers read as 0.
    /// - Reply: [{"area.point.x" int (left column, pixels in the cabinet), "area.point.y" int (top row, pixels in the
    ///   cabinet), "area.size.width" int (pixels), "area.size.height" int (pixels), "coefficients" QString (base64: row by
    ///   row, nine 16-bit values for each pixel, low byte first; of multilayer coefficients the bytes of each pixel: 16,
    ///   unless the host's grid has another length)}]
    /// - Called by: tryGetCoefficients of ICabinet, ISubScreen and IScreen for a chroma grid
    /// - After false: The caller returns enTimeout. After true a block without values gives enArgumentMismatch, one that
    ///   does not fit into the cabinet enInvalidParameter.
    bool loadCoefficient(const QString &deviceKey, const QString &cabinetId, QList<QVariant> &reply);

    /// Reads the multilayer coefficients that the cabinet shows.
    /// - Reply: [{"area.point.x" int (left column, pixels in the cabinet), "area.point.y" int (top row, pixels in the
    ///   cabinet), "area.size.width" int (pixels), "area.size.height" int (pixels), "coefficients" QString (base64: row by
    ///   row, nine 16-bit values for each pixel, low byte first; of multilayer coefficients the bytes of each pixel: 16,
    ///   unless the host's grid has another length)}]
    /// - Called by: tryGetCoefficients of ICabinet, ISubScreen and IScreen for a multilayer grid, which then return
    ///   enArgumentMismatch
    bool loadMultilayerCoefficient(const QString &deviceKey, const QString &cabinetId, QList<QVariant> &reply);

    /// Shows the chroma coefficients of one block. They are lost with the power unless they are saved.
    /// - Request: [{"area" {"point" {"x" int (left column, pixels in the cabinet), "y" int (top row, pixels in the
    ///   cabinet)}, "size" {"height" int (pixels), "width" int (pixels)}} (one block; the list holds no other),
    ///   "coefficients" QString (base64: row by row, nine 16-bit values for each pixel, low byte first; of multilayer
    ///   coefficients the bytes of each pixel: 16, unless the host's grid has another length)}]
    /// - Reply: not read
    /// - Called by: ICabinet::setCoefficients, ISubScreen::setCoefficients
    bool uploadCoefficient(const QString &deviceKey, const QString &cabinetId, const QList<QVariant> &request,
                           QMap<QString, QVariant> &reply);

    /// Shows the multilayer coefficients of one block.
    /// - Request: [{"area" {"point" {"x" int (left column, pixels in the cabinet), "y" int (top row, pixels in the
    ///   cabinet)}, "size" {"height" int (pixels), "width" int (pixels)}} (one block; the list holds no other),
    ///   "coefficients" QString (base64: row by row, nine 16-bit values for each pixel, low byte first; of multilayer
    ///   coefficients the bytes of each pixel: 16, unless the host's grid has another length)}]
    /// - Reply: not read
    /// - Called by: ICabinet::setCoefficients, ISubScreen::setCoefficients
    bool uploadMultilayerCoefficient(const QString &deviceKey, const QString &cabinetId, const QList<QVariant> &request,
                                     QMap<QString, QVariant> &reply);

    /// Shows the low-gray coefficients of one block.
    /// - Request: [{"area" {"point" {"x" int (left column, pixels in the cabinet), "y" int (top row, pixels in the
    ///   cabinet)}, "size" {"height" int (pixels), "width" int (pixels)}} (one block; the list holds no other),
    ///   "coefficients" QString (base64: row by row, nine 16-bit values for each pixel, low byte first; of multilayer
    ///   coefficients the bytes of each pixel: 16, unless the host's grid has another length)}]
    /// - Reply: not read
    /// - Called by: ICabinet::setCoefficients, ISubScreen::setCoefficients
    bool uploadLowgrayCoefficient(const QString &deviceKey, const QString &cabinetId, const QList<QVariant> &request,
                                  QMap<QString, QVariant> &reply);

    /// Shows the chroma coefficients of a block for each of many cabinets.
    /// - Request: [{"cid" qlonglong (cabinet id), "coefficientList" [{"area" {"point" {"x" int (left column, pixels in the
    ///   cabinet), "y" int (top row, pixels in the cabinet)}, "size" {"height" int (pixels), "width" int (pixels)}},
    ///   "coefficient" QString (base64: row by row, nine 16-bit values for each pixel, low byte first; of multilayer
    ///   coefficients the bytes of each pixel: 16, unless the host's grid has another length)}] (one block)}]
    /// - Called by: ISubScreen::setCoefficientsAsync, IScreen::setCoefficients
    /// - After false: The caller returns enTimeout, also after a rejected promise; of several devices the bitwise OR of
    ///   their codes. Every promise must settle: the caller waits for it without a limit, and runs its thread's event loop
    ///   meanwhile.
    QtPromise::QPromise<bool> uploadCoefficientAsync(const QString &deviceKey, const QList<QVariant> &request);

    /// Shows the multilayer coefficients of a block for each of many cabinets.
    /// - Request: [{"cid" qlonglong (cabinet id), "coefficientList" [{"area" {"point" {"x" int (left column, pixels in the
    ///   cabinet), "y" int (top row, pixels in the cabinet)}, "size" {"height" int (pixels), "width" int (pixels)}},
    ///   "coefficient" QString (base64: row by row, nine 16-bit values for each pixel, low byte first; of multilayer
    ///   coefficients the bytes of each pixel: 16, unless the host's grid has another length)}] (one block)}]
    /// - Called by: ISubScreen::setCoefficientsAsync, IScreen::setCoefficients
    /// - After false: The caller returns enTimeout, also after a rejected promise; of several devices the bitwise OR of
    ///   their codes. Every promise must settle: the caller waits for it without a limit, and runs its thread's event loop
    ///   meanwhile.
    QtPromise::QPromise<bool> uploadMultilayerCoefficientAsync(const QString &deviceKey, const QList<QVariant> &request);

    /// Shows the low-gray coefficients of a block for each of many cabinets.
    /// - Request: [{"cid" qlonglong (cabinet id), "coefficientList" [{"area" {"point" {"x" int (left column, pixels in the
    ///   cabinet), "y" int (top row, pixels in the cabinet)}, "size" {"height" int (pixels), "width" int (pixels)}},
    ///   "coefficient" QString (base64: row by row, nine 16-bit values for each pixel, low byte first; of multilayer
    ///   coefficients the bytes of each pixel: 16, unless the host's grid has another length)}] (one block)}]
    /// - Called by: ISubScreen::setCoefficientsAsync, IScreen::setCoefficients
    /// - After false: The caller returns enTimeout, also after a rejected promise; of several devices the bitwise OR of
    ///   their codes. Every promise must settle: the caller waits for it without a limit, and runs its thread's event loop
    ///   meanwhile.
    QtPromise::QPromise<bool> uploadLowGrayCoefficientAsync(const QString &deviceKey, const QList<QVariant> &request);

    /// Saves the chroma coefficients that the cabinets show.
    /// - Request: {"cids" [QString or qlonglong (cabinet id: QString from ICabinet and ICabinets, else qlonglong)] (the
    ///   cabinets)}
    /// - Reply: not read
    /// - Called by: saveParameter of ICabinet, ISubScreen and IScreen, ICabinets::saveUserCoefficient
    bool saveCabinetsCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                QMap<QString, QVariant> &reply);

    /// Saves the multilayer coefficients that the cabinets show.
    /// - Request: {"cids" [QString or qlonglong (cabinet id: QString from ICabinet and ICabinets, else qlonglong)] (the
    ///   cabinets)}
    /// - Reply: not read
    /// - Called by: saveParameter of ICabinet, ISubScreen and IScreen
    bool saveCabinetsMultilayerCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                          QMap<QString, QVariant> &reply);

    /// Saves the low-gray coefficients that the cabinets show.
    /// - Request: {"cids" [QString or qlonglong (cabinet id: QString from ICabinet and ICabinets, else qlonglong)] (the
    ///   cabinets)}
    /// - Reply: not read
    /// - Called by: saveParameter of ICabinet, ISubScreen and IScreen
    bool saveCabinetsLowgrayCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                       QMap<QString, QVariant> &reply);

    /// Shows the low-gray coefficients that were saved.
    /// - Request: {"cids" [qlonglong (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: applyCoeffcient of ICabinet, ISubScreen and IScreen
    bool applyCabinetsLowgrayCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);

    /// Clears the chroma coefficients that the cabinets show and those that were saved.
    /// - Request: {"cids" [QString or qlonglong (cabinet id: QString from ICabinet and ICabinets, else qlonglong)] (the
    ///   cabinets)}
    /// - Reply: not read
    /// - Called by: clearCoefficient of ISubScreen and IScreen, ICabinets::clearUserCoefficient
    bool clearCabinetsUserCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                      QMap<QString, QVariant> &reply);

    /// Clears the multilayer coefficients that the cabinets show and those that were saved.
    /// - Request: {"cids" [qlonglong (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: clearCoefficient of ISubScreen and IScreen
    /// - After false: One critical line; the caller returns enSuccess all the same.
    bool clearCabinetsMultilayerCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                            QMap<QString, QVariant> &reply);

    /// Clears the low-gray coefficients that the cabinets show and those that were saved.
    /// - Request: {"cids" [qlonglong (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: clearCoefficient of ISubScreen and IScreen
    bool clearCabinetsLowgrayCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                         QMap<QString, QVariant> &reply);

    /// Saves the chroma coefficients that the cabinets show as those of the factory.
    /// - Request: {"cids" [QString (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: ICabinets::saveFactoryCoefficient
    bool saveCabinetsFactoryCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);

    /// Shows the chroma coefficients that were saved.
    /// - Request: {"cids" [QString (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: ICabinets::showUserCoefficient
    bool showCabinetsCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                 QMap<QString, QVariant> &reply);

    /// Shows the factory's chroma coefficients.
    /// - Request: {"cids" [QString (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: ICabinets::showFactoryCoefficient
    bool showCabinetsFactoryCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);

    /// Shows the modules' chroma coefficients.
    /// - Request: {"cids" [QString (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: ICabinets::showModuleCoefficient
    bool showCabinetsModuleCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                       QMap<QString, QVariant> &reply);

    /// Saves the chroma coefficients that the cabinets show as those of the modules.
    /// - Request: {"cids" [QString (cabinet id)] (the cabinets)}
    /// - Reply: not read
    /// - Called by: ICabinets::saveModuleCoefficient
    bool saveCabinetsModuleCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                       QMap<QString, QVariant> &reply);

    /// Sets the limits of four layers.
    /// - Request: {"cids" [qlonglong (cabinet id)] (the cabinets), "param" {"inLayer1" uint (input level, device's unit),
    ///   "inLayer2" uint (input level, device's unit), "inLayer3" uint (input level, device's unit), "inLayer4" uint (input
    ///   level, device's unit), "inVldBitLayer01" int (number of valid bits), "inVldBitLayer12" int (number of valid bits),
    ///   "inVldBitLayer23" int (number of valid bits), "inVldBitLayer34" int (number of valid bits)}}
    /// - Reply: not read
    /// - Called by: setMultilayerParameter of ISubScreen and IScreen
    bool setCabinetsMultilayerParameter(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);

    /// Sets the limits of any number of layers.
    /// - Request: {"cids" [qlonglong (cabinet id)] (the cabinets), "multilayerParams" [{"inLayer" uint (input level,
    ///   device's unit), "inVldBitLayer" int (number of valid bits)}] (one map for each layer)}
    /// - Reply: not read
    /// - Called by: setMultilayerParameterV2 of ISubScreen and IScreen
    bool setCabinetsMultilayerParameterV2(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                          QMap<QString, QVariant> &reply);

    /// Saves what the cabinets show of one kind of coefficients.
    /// - Request: {"idList" [qlonglong (cabinet id)] (the cabinets), "type" EnumSaveType (0 chroma, 1 multilayer, 2 low
    ///   gray; toInt() reads it)}
    /// - Reply: not read
    /// - Called by: setMutiCabinetSolid of ISubScreen and IScreen
    bool setMutiCabinetSolid(const QString &deviceKey, const QMap<QString, QVariant> &request,
                             QMap<QString, QVariant> &reply);

    /// Switches the automatic brightness limiter (ABL).
    /// - Request: {"enable" bool}
    /// - Reply: not read
    /// - Called by: setABLEnable of ISubScreen and IScreen
    bool setScreenABLEnable(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request,
                            QMap<QString, QVariant> &reply);

    /// Sets the x-bit mode.
    /// - Request: {"mode" int (the device's number), "xbitEnable" bool}
    /// - Reply: not read
    /// - Called by: setXBit of ISubScreen and IScreen
    bool setScreenXBit(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request,
                       QMap<QString, QVariant> &reply);

    /// Sets the correction effect mode of the device.
    /// - Request: {"mode" int (the device's number)}
    /// - Reply: not read
    /// - Called by: setEffectMode of ISubScreen and IScreen
    bool setScreenEffectMode(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request,
                             QMap<QString, QVariant> &reply);

    /// Sets the correction effect mode of one cabinet.
    /// - Request: {"type" int (the device's number)}
    /// - Reply: not read
    /// - Called by: ICabinet::setEffectMode
    bool setCabinetEffectMode(const QString &deviceKey, const QString &cabinetId, const QMap<QString, QVariant> &request,
                              QMap<QString, QVariant> &reply);

    /// Reads the correction effect mode of one cabinet.
    /// - Reply: {"mode" int (the device's number)}
    /// - Called by: tryGetEffectMode of ICabinet, ISubScreen and IScreen
    /// - After false: ICabinet returns enTimeout; the others ask the next cabinet, and return enTimeout when none answers.
    bool getCabinetEffectMode(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);

    /// Reads the check codes of the modules' flash memory.
    /// - Request: empty
    /// - Reply: [{"rvcardId" int (number of the receiving card), "outputId" int (number of the output), "flashCheckResults"
    ///   [{"size.w" int (pixels), "size.h" int (pixels), "point.x" int (pixels), "point.y" int (pixels), "checkCode" int (0:
    ///   the flash memory is valid)}] (one map for each module)}]
    /// - Called by: ICabinet::getFlashCheckInfo, ICabinet::IsSupportFlash, ICabinet::saveModuleCoefficient,
    ///   ICabinet::reloadModuleCoefficient
    /// - After false: The caller returns enTimeout. After true without a card, or with a first card without modules, the
    ///   last two return enNotSupported.
    bool getFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const QMap<QString, QVariant> &request,
                           QList<QVariant> &reply);
};
