#pragma once

#include <service/ServiceGlobal.h>

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Device service: screens, their display settings and test images. The host provides the definitions (and runs moc on
/// this header). The conventions are those of Correctionop.
class CORRECTION_SERVICE_API ScreenInfo : public QObject
{
    Q_OBJECT

public:
    /// The process-wide instance; stays owned by the service. Fetched again for every call.
    static ScreenInfo *getInstance();

    /// Describes the screen of the device and the places of its cabinets. A cabinet whose id and output id the device's
    /// getAllCabinetsInfo does not list ends the refresh with enCabinetNotFound; devices behind it are not visited.
    /// - Reply: {"screenUUID" QString (the screen's id; devices with the same id make up one screen), "screenName" QString
    ///   (the first device of a screen names it), "expendInfo.isAllowSingleDev" bool (true: the screen is called
    ///   "screenName"; false: as getHWInfo's "customName"), "position.x" int (pixels; added to the positions below),
    ///   "position.y" int (pixels; added to the positions below), "subScreens" [{"position.x" int (pixels, added to the
    ///   position above), "position.y" int (pixels, added to the position above), "cabinets" [{"cabinetID" QString (cabinet
    ///   id; with the output id as getAllCabinetsInfo lists it), "outputID" QString, "position.x" int (pixels from the left
    ///   of its element of "subScreens"), "position.y" int (pixels from the top of it), "size.width" int (pixels),
    ///   "size.height" int (pixels)}] (the cabinets' places)}] (the parts of the screen that the device drives)}
    /// - Last argument: bool: true
    /// - Called by: ScreenManager::refreshScreen
    /// - After false: One critical line; the refresh leaves the device out.
    bool getScreens(const QString &deviceKey, QMap<QString, QVariant> &reply, bool refresh);

    /// Reads the gamma tables of the device.
    /// - Reply: {"redGamma" [int (entry of the curve)] (entries of the curve, from dark to bright), "greenGamma" [int (entry
    ///   of the curve)] (entries of the curve, from dark to bright), "blueGamma" [int (entry of the curve)] (entries of the
    ///   curve, from dark to bright)}
    /// - Called by: getGammaTable of ISubScreen and IScreen
    bool getGammaAllList(const QString &deviceKey, const QString &screen, QMap<QString, QVariant> &reply);

    /// Sets the brightness of the device.
    /// - Request: {"brightness" int (the service's unit; the library does not check it)}
    /// - Called by: setBrightness of ISubScreen and IScreen
    bool setBrightness(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request);

    /// Sets a gamma table of the device. The library sends the table of the highest channel alone; the request is empty for
    /// an empty table.
    /// - Request: {"type" int (channel: 0 red, 1 green, 2 blue), "gammaTable" QList<int> (entries of the curve, from dark to
    ///   bright)}
    /// - Called by: setGammaTable of ISubScreen and IScreen
    bool setGammaTable(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request);

    /// Shows lit blocks of pixels on black.
    /// - Request: {"regionrect" {"x" int (pixels), "y" int (pixels), "width" int (pixels), "height" int (pixels)} (the part
    ///   that shows the image, from the corner of the rectangle around the device's cabinets), "singlerect" {"x" int
    ///   (pixels), "y" int (pixels), "width" int (pixels), "height" int (pixels)} (the first lit block, from the corner of
    ///   that part; the blocks have its size), "color" {"r" int (0 to 255), "g" int (0 to 255), "b" int (0 to 255)} (of lit
    ///   blocks), "intervalX" int (dark blocks between two lit ones), "intervalY" int (dark blocks between two lit ones)}
    /// - Reply: not read
    /// - Called by: setPixelImage of ISubScreen and IScreen
    bool setPixelImage(const QString &deviceKey, const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);

    /// Sets the mode of test images.
    /// - Request: {"mode" int (the device's number)}
    /// - Reply: not read
    /// - Called by: setPixelImageMode of ISubScreen and IScreen
    bool setPixelImageMode(const QString &deviceKey, const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);

    /// Shows a checkerboard.
    /// - Request: {"regionRect" {"x" int (pixels), "y" int (pixels), "width" int (pixels), "height" int (pixels)} (the part
    ///   that shows the board, from the corner of the rectangle around the device's cabinets), "firstSquareW" int (pixels:
    ///   width of the first column), "firstSquareH" int (pixels: height of the first row), "squareW" int (pixels: width of
    ///   the columns between the first and the last), "squareH" int (pixels: height of the rows between the first and the
    ///   last), "lastSquareColumnW" int (pixels: width of the last column), "lastSquareRowH" int (pixels: height of the last
    ///   row), "regionColor" [{"r" int (0 to 255), "g" int (0 to 255), "b" int (0 to 255)}] (the square in column c, row r,
    ///   counted from 0, has the colour (c + r) modulo their number)}
    /// - Reply: not read
    /// - Called by: setCheckerboardlImage of ISubScreen and IScreen
    bool setCheckerBoardImage(const QString &deviceKey, const QMap<QString, QVariant> &request,
                              QMap<QString, QVariant> &reply);

    /// Asks whether the device can show a checkerboard: the request is empty, and nothing is drawn. The response headers
    /// hold the HTTP status under "HttpResponse_StateCode", and more than that one entry when the device answered.
    /// - Request: empty
    /// - Reply: not read
    /// - Last argument: response headers, QMap<QString, QString>
    /// - Called by: ISubScreen::isCheckerboardlImage, IScreen::getFeatures
    /// - After false: The response headers are looked at all the same: enNotSupported for the status "404", else enSuccess
    ///   when there is more than one, else enTimeout. After true: enSuccess when there is more than one, else enTimeout.
    ///   IScreen::getFeatures makes a feature of the code and returns enSuccess.
    bool setCheckerBoardImage(const QString &deviceKey, const QMap<QString, QVariant> &request,
                              QMap<QString, QVariant> &reply, QMap<QString, QString> &responseHeader);

    /// Shows the plain corrected image instead of a test image.
    /// - Request: empty
    /// - Called by: setCheckerboardlImage of ISubScreen and IScreen, for a sub-screen outside the board
    bool setCorrectClearImage(const QString &deviceKey, const QMap<QString, QVariant> &request);

Q_SIGNALS:
    /// The user renamed the screen of a device. Emitted on whatever thread the service works on.
    void signal_screenNameChanged(QString deviceKey, QString name);
};
