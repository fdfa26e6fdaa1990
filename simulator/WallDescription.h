#pragma once

#include <simulator/SimulatorGlobal.h>

#include <QtCore/QList>
#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QString>

/// What a virtual wall is made of. Plain values, all lengths in pixels; a description handed to the wall is copied.
namespace Simulator {

/// A module of a receiving card.
struct Module {
    QString id;   ///< Unique within its cabinet: module flags and flash check codes are addressed by it.
    QString flag; ///< Free text.
    QRect rect;   ///< Place within the cabinet.
};

/// A receiving card of a cabinet.
struct ReceivingCard {
    QString id;   ///< Free text; flash check replies give it as a number (0 when it is none).
    QString flag; ///< Free text.
    QRect rect;   ///< Place within the cabinet.
    QList<Module> modules;
};

/// A cabinet. Its coefficient planes have exactly `size`.
struct Cabinet {
    QString id;       ///< A decimal number, unique within its device. Compared by number where a request holds a number.
    QString outputId; ///< The device's output that it hangs on; flash check replies give it as a number.
    QPoint position;  ///< Relative to its sub-screen.
    QSize size;
    QString flag; ///< Free text.
    QList<ReceivingCard> receivingCards;
};

/// A placed set of cabinets of one device.
struct SubScreen {
    QPoint position; ///< Relative to the device's screen position.
    QList<Cabinet> cabinets;
};

/// A controller device with all that it drives. Devices with the same `screenId` make up one screen.
struct Device {
    QString key;        ///< Device key: first argument of every operation.
    QString label;      ///< What discovery shows.
    QString customName; ///< "customName" of the hardware information.

    QString screenId;          ///< "screenUUID"
    QString screenName;        ///< "screenName"
    bool useScreenName = true; ///< "expendInfo.isAllowSingleDev": the screen is called `screenName`, else `customName`.
    QPoint screenPosition;     ///< Origin of this device's screen reply, screen coordinates.
    QList<SubScreen> subScreens;

    int brightnessMin = 0; ///< Brightness requests below `brightnessMin` or above `brightnessMax` are refused.
    int brightnessMax = 10000;
    int brightnessDefault = 5000; ///< Brightness of every cabinet until one is set.

    bool multilayerCorrection = true; ///< "multilayercorrection" of the feature table; the following alike.
    int multilayerCorrectionLayers = 4;
    bool fineGrayscale = true;
    bool xBitPlus = true;
    bool magicGray = false;

    int multilayerBytesPerPixel = 16;  ///< Length of a pixel in multilayer planes and blocks.
    bool checkerboardSupported = true; ///< false: checkerboard requests are refused, with status 404 in the headers.

    /// The cabinets' rectangles united, screen coordinates: the frame of the device's test patterns. Null without
    /// cabinets.
    SIMULATOR_API QRect rect() const;
};

/// A device whose cabinets form a regular grid with its top-left corner at `origin` (screen coordinates). The ids count
/// up from `firstCabinetId`, row by row; row r hangs on output r + 1 ("1", "2", ...). Each cabinet has one receiving
/// card "0" over its whole area with 2 x 2 modules "0" to "3". Screen id "screen", screen name "Screen"; label and
/// custom name are made from the key.
SIMULATOR_API Device gridDevice(const QString &key, const QPoint &origin, int columns, int rows, const QSize &cabinetSize,
                                int firstCabinetId = 1);

} // namespace Simulator
