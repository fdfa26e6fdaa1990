#pragma once

#include <adapter/DeviceBackend.h>

#include <QtCore/QtPlugin>

#include <memory>

namespace Adapter {

/// A backend in a Qt plug-in, for programs that load it at run time (`correctionctl --backend`). A plug-in is a
/// shared library with one class like this:
///
///     class MyPlugin : public QObject, public Adapter::BackendPlugin
///     {
///         Q_OBJECT
///         Q_PLUGIN_METADATA(IID Correction_BackendPlugin_iid)
///         Q_INTERFACES(Adapter::BackendPlugin)
///     public:
///         std::unique_ptr<Adapter::DeviceBackend> create(const QString &configuration, QString &error) override;
///     };
class ADAPTER_API BackendPlugin
{
public:
    virtual ~BackendPlugin();

    /// Creates a backend. The plug-in defines the form of `configuration`; empty when the user gave none. Null, with the
    /// reason in `error`, on failure. An exception counts as a failure; only `std::bad_alloc` reaches the program.
    virtual std::unique_ptr<DeviceBackend> create(const QString &configuration, QString &error) = 0;
};

/// Loads the plug-in that `source` names, "FILE" or "FILE:CONFIGURATION", and makes a backend with it. In a source with
/// several colons the shortest path that exists is the file. Null, with the reason in `error`, when there is no such file,
/// when it is not a plug-in of this kind or was built for another Qt, or when it creates no backend. A plug-in stays loaded
/// until the process ends.
ADAPTER_API std::unique_ptr<DeviceBackend> loadBackend(const QString &source, QString &error);

} // namespace Adapter

/// Increment it when plug-ins that were built before cannot be used any more.
#define Correction_BackendPlugin_iid "Correction.Adapter.BackendPlugin/1"
Q_DECLARE_INTERFACE(Adapter::BackendPlugin, Correction_BackendPlugin_iid)
