#pragma once

#include <Correction/ISubScreen.h>

namespace Correction {

/// One screen: a named set of sub-screens, one for each device, ordered by device key.
///
/// Every operation runs on the caller's thread. Setters visit the sub-screens in order and stop at the first that fails,
/// whose code they answer: those before it keep the change. Getters take the first answer of 0 and answer 5 when there is
/// none. A null sub-screen gives 3. Each failure writes one critical line. Rectangles are in screen pixels.
class CORRECTION_EXPORT IScreen
{
public:
    IScreen();
    virtual ~IScreen();

    virtual EnumErrorCode setABLEnable(bool enable) = 0;
    virtual EnumErrorCode setXBit(EnumXBitMode mode, bool enable) = 0;
    virtual EnumErrorCode lock() = 0;
    virtual EnumErrorCode unLock() = 0;
    /// Unites `rect` with every cabinet's rectangle: pass a null rectangle.
    virtual EnumErrorCode tryGetRect(QRect &rect) = 0;
    /// Appends every cabinet's description.
    virtual EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &list) = 0;
    virtual EnumErrorCode setPixelImage(DrawingParameter param) = 0;
    /// 1, with nothing drawn, unless the board has at least two colours, squares of some size, and a last column and row
    /// that make its width and height come out even.
    virtual EnumErrorCode setCheckerboardlImage(DrawingCheckerboard param) = 0;
    virtual EnumErrorCode setPixelImageMode(unsigned char mode) = 0;
    /// Reads the coefficients of `rect` into `coefficient`, a grid laid out over `rect`. 2 when `rect` lies outside the
    /// screen; 7 for a kind that cannot be made. Each sub-screen fills a grid of the size of its part, in its own frame: a
    /// part that does not begin at its sub-screen's top-left corner lands shifted or fails with 3, so read such parts
    /// through whole sub-screens. Pixels that no sub-screen covers are left alone.
    virtual EnumErrorCode tryGetCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Writes `coefficient`, a grid laid out over `rect`, through all sub-screens at once: every device is started before
    /// the first is waited for. The event loop of the calling thread runs meanwhile; `ScreenManager::refreshScreen` says
    /// what a refresh from there does. Answers the bitwise OR of all codes; 3 for a null sub-screen (no device is
    /// contacted), 5 for a write that is rejected. The stack does not grow with the number of devices; of sub-screen classes
    /// of the host's own that wait for their device, and of services that run the event loop while they take an upload, at
    /// most 64 calls are nested, and the others follow.
    virtual EnumErrorCode setCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    virtual EnumErrorCode saveParameter(EnumSaveType type) = 0;
    virtual EnumErrorCode applyCoeffcient(EnumCoefficientType type) = 0;
    virtual EnumErrorCode clearCoefficient(EnumCoefficientType type) = 0;
    virtual EnumErrorCode setEffectMode(EnumEffectMode mode) = 0;
    virtual EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) = 0;
    virtual EnumErrorCode setBrightness(int brightness) = 0;
    virtual EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) = 0;
    virtual EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) = 0;
    virtual EnumErrorCode setMultilayerParameter(const MultilayerParam &param) = 0;
    virtual EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) = 0;
    virtual EnumErrorCode getBrightnessRange(BrightnessRange &range) = 0;
    /// The sub-screen, still owned by the screen, or null with a critical line.
    virtual ISubScreen *tryGetSubScreen(const QString &key) = 0;
    /// Takes ownership of `subScreen`, which may be null. False, with nothing taken and a critical line, for a key that is
    /// present.
    virtual bool addSubScreen(const QString &key, ISubScreen *subScreen) = 0;
    /// Deletes the sub-screen; from inside an operation of the same thread it is removed at once and deleted by the first
    /// removal outside of every operation. False, with a critical line, for an unknown key.
    virtual bool removeSubScreen(const QString &key) = 0;
    /// Deletes all sub-screens, as `removeSubScreen` does.
    virtual void removeSubScreens() = 0;
    virtual void setName(const QString &name) = 0;
    virtual QString getName() = 0;
    virtual void setID(const QString &id) = 0;
    virtual QString getID() = 0;
    /// Asks every device for its custom name. The map is taken by value: only the result code reaches the caller.
    virtual EnumErrorCode getSubScreenNames(QMap<QString, QString> names) = 0;
    virtual EnumErrorCode setMutiCabinetSolid(EnumSaveType type) = 0;
    /// Sets "checkerBoardltFeature": true when every device can draw a checkerboard. 0 or 3.
    virtual EnumErrorCode getFeatures(QMap<QString, bool> &features) = 0;
    /// Appends the feature switches that the devices report.
    virtual EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) = 0;
};

} // namespace Correction
