#pragma once

#include <Correction/ISubScreen.h>

namespace Correction {

/// One screen: a named set of sub-screens, one for each device, ordered by device key. Rectangles are in screen pixels.
///
/// Every operation runs on the caller's thread. There is no lock: concurrent calls, and changes of the screen during a call,
/// are the caller's concern.
///
/// Setters, `tryGetRect` and the lists visit the sub-screens in order and stop at the first that fails, whose code they
/// return: those before it keep the change. Getters (`tryGetEffectMode`, `getGammaTable`, `getBrightnessRange`) return
/// `enSuccess` at the first sub-screen that does, and `enTimeout` when there is none. A null sub-screen gives
/// `enInvalidParameter`. Each failure writes one critical line where nothing else is said, besides those that `ISubScreen`
/// names. Outputs of getters are unchanged after a failure.
class CORRECTION_EXPORT IScreen
{
public:
    IScreen();
    virtual ~IScreen();

    /// Switches the automatic brightness limiter.
    virtual EnumErrorCode setABLEnable(bool enable) = 0;
    /// Switches an x-bit mode on or off. The mode is not checked.
    virtual EnumErrorCode setXBit(EnumXBitMode mode, bool enable) = 0;
    /// Reserves the devices for this application.
    virtual EnumErrorCode lock() = 0;
    /// Ends the reservation.
    virtual EnumErrorCode unLock() = 0;
    /// Unites `rect` with every cabinet's rectangle: pass a null rectangle. Sends nothing. After a failure what was united
    /// before stays.
    virtual EnumErrorCode tryGetRect(QRect &rect) = 0;
    /// Appends every cabinet's description, without its `flag`, which is null (see `CabinetInfo`). Sends nothing. After a
    /// failure the sub-screens before stay in the list.
    virtual EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &list) = 0;
    /// Draws a pixel image. `enArgumentMismatch` as for `ISubScreen`.
    virtual EnumErrorCode setPixelImage(DrawingParameter param) = 0;
    /// Draws a checkerboard. `enArgumentMismatch`, with nothing drawn or logged, unless the board has at least two colours,
    /// no size of 0, and a last column and row that fill its width and height: width - `lastSquareColumnW` is a multiple of
    /// `squareW`, height - `lastSquareRowH` one of `squareH`.
    virtual EnumErrorCode setCheckerboardlImage(DrawingCheckerboard param) = 0;
    /// Sets the mode of test images. The number is the device's; it is sent unchecked.
    virtual EnumErrorCode setPixelImageMode(unsigned char mode) = 0;
    /// Reads the coefficients of `rect` into `coefficient`, a chroma grid laid out over `rect`. Pixels that no sub-screen
    /// covers are left alone; after a failure so are those of the sub-screen that failed and of the ones behind it.
    ///
    /// Each sub-screen fills a grid of the size of its part of `rect`, in its own frame: a part that does not begin at its
    /// sub-screen's top-left corner lands shifted or fails with `enInvalidParameter`. Hosts rely on it. The whole screen is
    /// read right, and so is every rectangle whose parts all begin at such corners; `ScreenReader` reads any rectangle.
    /// - `enOutOfRange`: `rect` is null or not wholly inside the screen. Nothing is sent.
    /// - `enNotSupported`: a low-gray grid or an unknown kind.
    /// - `enArgumentMismatch`: a multilayer grid; a reply that holds a block without values.
    /// - `enInvalidParameter`: also a `coefficient` smaller than `rect`, and a reply that does not fit into its cabinet.
    virtual EnumErrorCode tryGetCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Writes `coefficient`, a grid of any kind laid out over `rect`, through all sub-screens at once: every device is
    /// started before the first is waited for. The event loop of the calling thread runs meanwhile (timers and slots of the
    /// host too); `ScreenManager::refreshScreen` says what a refresh from there does. `rect` may reach beyond the screen:
    /// pixels without a cabinet are left out.
    ///
    /// The result is the bitwise OR of the sub-screens' codes. It only says whether all succeeded (`enSuccess`): any other
    /// number may stand for several codes and need not be the code of one of them. Each failure is logged, but for an
    /// unknown kind (`enNotSupported`). `enInvalidParameter` for a null sub-screen (no device is contacted), `enTimeout` for
    /// a write that is rejected. Devices that succeed keep their part where others fail. Nothing is saved:
    /// `saveParameter` does that.
    ///
    /// The stack does not grow with the number of devices; of sub-screen classes of the host's own that wait for their
    /// device, and of services that run the event loop while they take an upload, at most 64 calls are nested, and the
    /// others follow.
    virtual EnumErrorCode setCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Stores the uploaded coefficients of a kind. `enNotSupported`: an unknown kind.
    virtual EnumErrorCode saveParameter(EnumSaveType type) = 0;
    /// Applies the stored low-gray coefficients. `enNotSupported`: every other kind.
    virtual EnumErrorCode applyCoeffcient(EnumCoefficientType type) = 0;
    /// Clears the user's coefficients of a kind. `enNotSupported`: an unknown kind. For the multilayer kind a device that
    /// did not answer or refused is not a failure: `enSuccess`, with one critical line.
    virtual EnumErrorCode clearCoefficient(EnumCoefficientType type) = 0;
    /// Sets the correction effect mode. The number is the device's; it is sent unchecked.
    virtual EnumErrorCode setEffectMode(EnumEffectMode mode) = 0;
    /// Reads the correction effect mode.
    virtual EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) = 0;
    /// Sets the brightness in the device's own steps (see `getBrightnessRange`). The value is not checked. No operation
    /// reads the current value.
    virtual EnumErrorCode setBrightness(int brightness) = 0;
    /// Replaces the entries of the three channels by those of the first device that answers; others stay.
    virtual EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sends each device one request, which holds the table of the highest channel only: call it once for each channel.
    virtual EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sets the limits of four layers. The values are not checked.
    virtual EnumErrorCode setMultilayerParameter(const MultilayerParam &param) = 0;
    /// Sets the limits of any number of layers. `enArgumentMismatch`: a parameter without layers. Nothing is sent.
    virtual EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) = 0;
    /// Reads the permitted brightness.
    virtual EnumErrorCode getBrightnessRange(BrightnessRange &range) = 0;
    /// The sub-screen, still owned by the screen, or null with one critical line.
    virtual ISubScreen *tryGetSubScreen(const QString &key) = 0;
    /// Takes ownership of `subScreen`, which may be null. False, with nothing taken and one critical line, for a key that is
    /// present.
    virtual bool addSubScreen(const QString &key, ISubScreen *subScreen) = 0;
    /// Deletes the sub-screen; from inside an operation of the same thread it is removed at once and deleted by the first
    /// removal outside of every operation. False, with one critical line, for an unknown key.
    virtual bool removeSubScreen(const QString &key) = 0;
    /// Deletes all sub-screens, as `removeSubScreen` does.
    virtual void removeSubScreens() = 0;
    /// Changes the name here. Sends nothing.
    virtual void setName(const QString &name) = 0;
    /// The name of discovery, or that of `setName`.
    virtual QString getName() = 0;
    /// Changes the id here, not in the manager. Sends nothing.
    virtual void setID(const QString &id) = 0;
    /// The id of discovery, or that of `setID`.
    virtual QString getID() = 0;
    /// Queries every device for its custom name. The map is taken by value: only the result code reaches the caller.
    /// `enInvalidParameter`: a device did not answer or refused.
    virtual EnumErrorCode getSubScreenNames(QMap<QString, QString> names) = 0;
    /// Saves what the cabinets show of one kind of coefficients. The kind is not checked.
    virtual EnumErrorCode setMutiCabinetSolid(EnumSaveType type) = 0;
    /// Sets "checkerBoardltFeature": true when every device can draw a checkerboard, false at the first that cannot or gives
    /// no clear answer. `enInvalidParameter`, with the entry undetermined, for a null sub-screen; otherwise `enSuccess`.
    virtual EnumErrorCode getFeatures(QMap<QString, bool> &features) = 0;
    /// Appends the feature switches that the devices report, one record for each map of their replies. After a failure those
    /// of the devices before stay in the list.
    virtual EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) = 0;
};

} // namespace Correction
