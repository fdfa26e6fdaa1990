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
    /// The process-wide instance; stays owned by the service. Fetched anew for every call.
    static ScreenInfo *getInstance();

    /// The device's screen: "screenUUID", "screenName" (texts), "expendInfo.isAllowSingleDev" (bool), "position.x",
    /// "position.y" (int) and the list "subScreens", whose maps hold "position.x", "position.y" and the list "cabinets"
    /// ("cabinetID", "outputID", "position.x", "position.y", "size.width", "size.height").
    bool getScreens(const QString &deviceKey, QMap<QString, QVariant> &reply, bool refresh);
    /// Gamma tables of the device: "redGamma", "greenGamma", "blueGamma", each a list of variants.
    bool getGammaAllList(const QString &deviceKey, const QString &screen, QMap<QString, QVariant> &reply);

    bool setBrightness(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request);
    bool setGammaTable(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request);

    bool setPixelImage(const QString &deviceKey, const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);
    bool setPixelImageMode(const QString &deviceKey, const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);
    bool setCheckerBoardImage(const QString &deviceKey, const QMap<QString, QVariant> &request,
                              QMap<QString, QVariant> &reply);
    /// The same with the response headers of the device's answer, its status under "HttpResponse_StateCode".
    bool setCheckerBoardImage(const QString &deviceKey, const QMap<QString, QVariant> &request,
                              QMap<QString, QVariant> &reply, QMap<QString, QString> &responseHeader);
    bool setCorrectClearImage(const QString &deviceKey, const QMap<QString, QVariant> &request);

Q_SIGNALS:
    /// The user renamed the screen of a device. Emitted on whatever thread the service works on.
    void signal_screenNameChanged(QString deviceKey, QString name);
};
