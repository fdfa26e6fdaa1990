// The backend as a plug-in. Its configuration lists the devices: KEY=URL, separated by commas.
//
//     correctionctl --backend libexample-03-http-plugin.so:A=http://10.0.0.7:8080,B=http://10.0.0.8:8080 screens

#include "HttpBackend.h"

#include <adapter/BackendPlugin.h>

class HttpPlugin : public QObject, public Adapter::BackendPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID Correction_BackendPlugin_iid)
    Q_INTERFACES(Adapter::BackendPlugin)

public:
    std::unique_ptr<Adapter::DeviceBackend> create(const QString &configuration, QString &error) override
    {
        QMap<QString, QUrl> devices;
        const QStringList entries = configuration.split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString &entry : entries) {
            const QString key = entry.section(QLatin1Char('='), 0, 0);
            const QUrl url(entry.section(QLatin1Char('='), 1), QUrl::StrictMode);
            if (key.isEmpty() || url.host().isEmpty() || devices.contains(key)) {
                error = QStringLiteral("\"%1\" is not KEY=URL with a key of its own").arg(entry);
                return nullptr;
            }
            devices.insert(key, url);
        }
        if (devices.isEmpty()) {
            error = QStringLiteral("the configuration lists no device: KEY=URL[,KEY=URL...]");
            return nullptr;
        }
        return std::make_unique<HttpBackend>(devices);
    }
};

#include "HttpPlugin.moc"
