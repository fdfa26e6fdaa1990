// A backend as a plug-in: its configuration becomes the label of its device.

#include <adapter/BackendPlugin.h>

#include <new>
#include <stdexcept>

namespace {

class OneDevice : public Adapter::DeviceBackend
{
public:
    explicit OneDevice(const QString &label) : m_label(label) {}
    QList<Adapter::DeviceInfo> devices() override { return {{QStringLiteral("P"), m_label}}; }
    Adapter::Answer answer(const Adapter::Call &) override { return {false, {}, {}}; }

private:
    const QString m_label;
};

} // namespace

class TestPlugin : public QObject, public Adapter::BackendPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID Correction_BackendPlugin_iid)
    Q_INTERFACES(Adapter::BackendPlugin)

public:
    std::unique_ptr<Adapter::DeviceBackend> create(const QString &configuration, QString &error) override
    {
        if (configuration == QLatin1String("refuse"))
            error = QStringLiteral("the test asked for this");
        if (configuration == QLatin1String("refuse") || configuration == QLatin1String("silent"))
            return nullptr;
        if (configuration == QLatin1String("throw"))
            throw std::runtime_error("the test asked for an exception");
        if (configuration == QLatin1String("throw a number"))
            throw 1;
        if (configuration == QLatin1String("no memory"))
            throw std::bad_alloc();
        return std::make_unique<OneDevice>(configuration);
    }
};

#include "TestPlugin.moc"
