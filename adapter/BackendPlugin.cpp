#include <adapter/BackendPlugin.h>

#include <QtCore/QFileInfo>
#include <QtCore/QPluginLoader>

#include <exception>
#include <new>

namespace Adapter {

namespace {

/// Splits "FILE:CONFIGURATION"; false when no prefix of the string names a file.
bool divide(const QString &source, QString &file, QString &configuration)
{
    for (int colon = source.indexOf(QLatin1Char(':')); colon >= 0; colon = source.indexOf(QLatin1Char(':'), colon + 1)) {
        if (QFileInfo(source.left(colon)).isFile()) {
            file = source.left(colon);
            configuration = source.mid(colon + 1);
            return true;
        }
    }
    file = source;
    return QFileInfo(source).isFile();
}

} // namespace

BackendPlugin::~BackendPlugin() = default;

std::unique_ptr<DeviceBackend> loadBackend(const QString &source, QString &error)
{
    QString file;
    QString configuration;
    if (!divide(source, file, configuration)) {
        error = QStringLiteral("%1: no such file").arg(source);
        return nullptr;
    }
    // QPluginLoader searches Qt's plug-in folders for a name without a folder.
    QPluginLoader loader(QFileInfo(file).absoluteFilePath());
    QObject *const root = loader.instance();
    if (!root) {
        error = loader.errorString();
        return nullptr;
    }
    auto *const plugin = qobject_cast<BackendPlugin *>(root);
    if (!plugin) {
        error = QStringLiteral("%1: a Qt plug-in, but not of a device backend (%2)")
                    .arg(file, QLatin1String(Correction_BackendPlugin_iid));
        return nullptr;
    }
    QString reason;
    std::unique_ptr<DeviceBackend> backend;
    try {
        backend = plugin->create(configuration, reason);
    } catch (const std::bad_alloc &) {
        throw;
    } catch (const std::exception &exception) {
        reason = QStringLiteral("thrown: %1").arg(QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        reason = QStringLiteral("thrown: unknown exception");
    }
    if (!backend)
        error = QStringLiteral("%1: %2").arg(file, reason.isEmpty() ? QStringLiteral("it makes no backend") : reason);
    return backend;
}

} // namespace Adapter
