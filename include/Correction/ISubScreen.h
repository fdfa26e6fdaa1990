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

/// The part of a screen that one device drives.
///
/// Every operation runs on the caller's thread and blocks until the device has answered. Results, where nothing else is
/// said: 0; 5 when the device did not answer in time or refused. Operations that visit the cabinets do so in ascending order
/// of their ids and answer 3 at one that the registry does not hold; what they wrote to the caller's output before stays.
/// Rectangles are in screen pixels.
class CORRECTION_EXPORT ISubScreen
{
public:
    ISubScreen();
    virtual ~ISubScreen();

    virtual EnumErrorCode setABLEnable(bool enable) = 0;
    virtual EnumErrorCode setXBit(EnumXBitMode mode, bool enable) = 0;
    /// Reserves the device for this application.
    virtual EnumErrorCode lock() = 0;
    virtual EnumErrorCode unLock() = 0;
    /// Unites `rect` with every cabinet's rectangle: pass a null rectangle. Asks no device.
    virtual EnumErrorCode tryGetRect(QRect &rect) = 0;
    /// Appends every cabinet's description. Asks no device.
    virtual EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &list) = 0;
    /// Draws the piece of a pixel image that falls on this sub-screen, or darkens it where none does. 1 for a block and
    /// interval of size 0 where the piece's phase would have to be computed.
    virtual EnumErrorCode setPixelImage(DrawingParameter param) = 0;
    /// Draws the piece of a checkerboard that falls on this sub-screen, or clears it where none does. 1 for a board without
    /// colours or with a square size of 0 where the piece's phase would have to be computed.
    virtual EnumErrorCode setCheckerboardlImage(DrawingCheckerboard param) = 0;
    virtual EnumErrorCode setPixelImageMode(unsigned char mode) = 0;
    /// Reads the cabinets that meet `rect` and pastes their overlaps into `coefficient`, a grid laid out over this
    /// sub-screen's bounding rectangle. 7 for a kind that cannot be read; otherwise also the codes of the grid and the
    /// cabinet.
    virtual EnumErrorCode tryGetCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Writes `coefficient`, a grid laid out over `rect`, to the cabinets that meet `rect`, cabinet by cabinet. 3 when a
    /// block cannot be cut or does not fit into one QString as base64; otherwise also the cabinet's codes. Cabinets written
    /// before a failure keep what they got.
    virtual EnumErrorCode setCoefficients(const QRect &rect, ICoefficient &coefficient) = 0;
    /// The same in one upload for the whole device. The promise is settled when this returns, and never rejected: while the
    /// upload is pending the calling thread's event loop runs. 3 as above; 7 for an unknown kind.
    virtual QtPromise::QPromise<EnumErrorCode> setCoefficientsAsync(const QRect &rect, ICoefficient &coefficient) = 0;
    /// Stores the uploaded coefficients of a kind. 7 for an unknown kind.
    virtual EnumErrorCode saveParameter(EnumSaveType type) = 0;
    /// Applies the stored low-gray coefficients. 7 for every other kind.
    virtual EnumErrorCode applyCoeffcient(EnumCoefficientType type) = 0;
    /// Clears the user's coefficients of a kind. 7 for an unknown kind. For multilayer the answer is 0 even when the device
    /// did not answer (a critical line tells).
    virtual EnumErrorCode clearCoefficient(EnumCoefficientType type) = 0;
    virtual EnumErrorCode setEffectMode(EnumEffectMode mode) = 0;
    virtual EnumErrorCode setBrightness(int brightness) = 0;
    /// Sets the entries of the three channels.
    virtual EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &table) = 0;
    /// Sends one request, which holds the table of the highest channel only.
    virtual EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &table) = 0;
    virtual EnumErrorCode setMultilayerParameter(const MultilayerParam &param) = 0;
    /// 1 for a parameter without layers.
    virtual EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) = 0;
    /// The answer of the first cabinet that gives one; otherwise the last cabinet's code, 5 without cabinets.
    virtual EnumErrorCode getBrightnessRange(BrightnessRange &range) = 0;
    virtual EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) = 0;
    /// False, with no change, for an id that is present.
    virtual bool addCabinet(QString cabinetId, QString cabinetFlag) = 0;
    virtual bool removeCabinet(const QString &cabinetId) = 0;
    virtual void removeCabinets() = 0;
    virtual EnumErrorCode setMutiCabinetSolid(EnumSaveType type) = 0;
    /// Whether the device can draw a checkerboard: 0 yes, 7 no, 5 no clear answer.
    virtual EnumErrorCode isCheckerboardlImage() = 0;
    /// Appends the feature switches that the device reports.
    virtual EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) = 0;
};

} // namespace Correction
