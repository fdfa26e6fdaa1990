#pragma once

#include <Correction/BrightnessRange.h>
#include <Correction/CabinetBaseInfo.h>
#include <Correction/CabinetInfo.h>
#include <Correction/DrawingCheckerboard.h>
#include <Correction/DrawingParameter.h>
#include <Correction/Enumerations.h>
#include <Correction/Global.h>
#include <Correction/ICoefficient.h>
#include <Correction/MultilayerParam.h>
#include <Correction/Promise.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace Correction {

/// The part of a screen that one device drives. Rectangles are in screen pixels.
///
/// Every operation runs on the caller's thread and blocks until the device has answered. There is no lock: concurrent calls,
/// and changes of the cabinets during a call, are the caller's concern.
///
/// Results, where nothing else is said: `enSuccess`; `enTimeout`, with one critical line, when the device did not answer in
/// time or refused. Operations that visit the cabinets do so in ascending order of their ids (as strings) and return
/// `enInvalidParameter`, with one critical line, at one that the registry does not hold; what they wrote to the caller's
/// output before stays. Other outputs are unchanged after a failure. "Not logged" concerns the failure named before it.
class CORRECTION_EXPORT ISubScreen
{
public:
    ISubScreen();
    virtual ~ISubScreen();

    /// Switches the automatic brightness limiter.
    virtual EnumErrorCode setABLEnable(bool enable) = 0;
    /// Switches an x-bit mode on or off. The mode is not checked.
    virtual EnumErrorCode setXBit(EnumXBitMode mode, bool enable) = 0;
    /// Reserves the device for this application.
    virtual EnumErrorCode lock() = 0;
    /// Ends the reservation.
    virtual EnumErrorCode unLock() = 0;
    /// Unites `rect` with every cabinet's rectangle: pass a null rectangle. Sends nothing.
    virtual EnumErrorCode tryGetRect(QRect &rect) = 0;
    /// Appends every cabinet's description, without its `flag`, which is null (see `CabinetInfo`). Sends nothing.
    virtual EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &list) = 0;
    /// Draws the piece of a pixel image that falls on this sub-screen, or makes it black where none does.
    /// `enArgumentMismatch`, with one critical line and nothing drawn, where a piece falls on it: a block of width or height
    /// 0, or an interval of -1.
    virtual EnumErrorCode setPixelImage(DrawingParameter param) = 0;
    /// Draws the piece of a checkerboard that falls on this sub-screen, or shows the plain image where none does.
    /// `enArgumentMismatch`, with one critical line and nothing drawn, where a piece falls on it: a board without colours or
    /// with a square size of 0.
    virtual EnumErrorCode setCheckerboardlImage(DrawingCheckerboard param) = 0;
    /// Sets the mode of test images. The number is the device's; it is sent unchecked.
    virtual EnumErrorCode setPixelImageMode(unsigned char mode) = 0;
    /// Reads the cabinets that meet `rect`, each as a whole, and pastes their overlaps into `coefficient`, a chroma grid
    /// laid out over this sub-screen's bounding rectangle, wherever `rect` begins. Pixels without a cabinet, and those
    /// outside `rect`, are left alone. Every failure writes one critical line or more.
    /// - `enNotSupported`: a low-gray grid or an unknown kind, where a cabinet meets `rect`.
    /// - `enArgumentMismatch`: a multilayer grid; a reply that holds a block without values.
    /// - `enInvalidParameter`: also a block that does not fit into its cabinet or into `coefficient`.
    virtual EnumErrorCode tryGetCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Writes `coefficient`, a grid laid out over `rect`, to the cabinets that meet `rect`, cabinet by cabinet; pixels
    /// without a cabinet are left out. Cabinets written before a failure keep what they got. Every failure writes one
    /// critical line or more: `enInvalidParameter` also when a block cannot be cut or does not fit into one QString as
    /// base64; otherwise the cabinet's code.
    virtual EnumErrorCode setCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// The same in one upload for the whole device. The promise is settled when this returns, and never rejected: while the
    /// upload is pending the calling thread's event loop runs. No request for a rectangle without a cabinet: `enSuccess`.
    /// `enInvalidParameter` as above; `enNotSupported`, not logged, for an unknown kind.
    virtual QtPromise::QPromise<EnumErrorCode> setCoefficientsAsync(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Stores the uploaded coefficients of a kind. `enNotSupported`, not logged: an unknown kind.
    virtual EnumErrorCode saveParameter(EnumSaveType type) = 0;
    /// Applies the stored low-gray coefficients. `enNotSupported`, not logged: every other kind.
    virtual EnumErrorCode applyCoeffcient(EnumCoefficientType type) = 0;
    /// Clears the user's coefficients of a kind. The multilayer kind is always `enSuccess`: a device that did not answer or
    /// refused is only logged, with one critical line. `enNotSupported`, not logged: an unknown kind.
    virtual EnumErrorCode clearCoefficient(EnumCoefficientType type) = 0;
    /// Sets the correction effect mode. The number is the device's; it is sent unchecked.
    virtual EnumErrorCode setEffectMode(EnumEffectMode mode) = 0;
    /// Sets the brightness in the device's own steps (see `getBrightnessRange`). The value is not checked. No operation
    /// reads the current value.
    virtual EnumErrorCode setBrightness(int brightness) = 0;
    /// Replaces the entries of the three channels: `enRedGamma`, `enGreenGamma` and `enBlueGamma`, each its own colour.
    /// Others stay.
    virtual EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sends one request, which holds the table of the highest channel only (an empty one for an empty table): call it once
    /// for each channel.
    virtual EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sets the limits of four layers. The values are not checked.
    virtual EnumErrorCode setMultilayerParameter(const MultilayerParam &param) = 0;
    /// Sets the limits of any number of layers. `enArgumentMismatch`, with one critical line and nothing sent: a parameter
    /// without layers.
    virtual EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) = 0;
    /// The range of the first cabinet that returns one. Otherwise the last cabinet's code, or `enTimeout` without cabinets;
    /// not logged.
    virtual EnumErrorCode getBrightnessRange(BrightnessRange &range) = 0;
    /// The mode of the first cabinet that returns one. Otherwise as `getBrightnessRange`.
    virtual EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) = 0;
    /// Adds the id of a cabinet of the registry. False, with no change and not logged, for an id that is present.
    virtual bool addCabinet(QString cabinetId, QString cabinetFlag) = 0;
    /// False, not logged, for an id that is absent. The registry keeps the cabinet.
    virtual bool removeCabinet(const QString &cabinetId) = 0;
    /// Removes all cabinets from this sub-screen. They stay in the registry.
    virtual void removeCabinets() = 0;
    /// Saves what the cabinets show of one kind of coefficients. The kind is not checked.
    virtual EnumErrorCode setMutiCabinetSolid(EnumSaveType type) = 0;
    /// Whether the device can draw a checkerboard: `enSuccess` it can, `enNotSupported` it cannot, `enTimeout` no clear
    /// answer. A call that the service answers with false writes one critical line whatever the result, `enTimeout` one
    /// more.
    virtual EnumErrorCode isCheckerboardlImage() = 0;
    /// Appends the feature switches that the device reports, one record for each map of its reply.
    virtual EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) = 0;
};

} // namespace Correction
