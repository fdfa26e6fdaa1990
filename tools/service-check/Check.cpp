#include "Check.h"

namespace ServiceCheck {

QString Check::run()
{
    QVector<Device> devices;
    const QString none = findDevices(devices);
    for (Device &device : devices)
        describe(device);
    for (Device &device : devices) {
        if (device.isReached)
            read(device);
        else
            m_report.add({Line::Skip, {}, {}, device.key, {}, {}, QStringLiteral("a refresh leaves it out"), {}});
        if (m_options.write && device.isReached && !device.cabinets.isEmpty())
            write(device);
    }
    skipTheRest();
    return none;
}

void Check::skip(Operation::Id operation, const QString &device, const QString &reason)
{
    m_report.add({Line::Skip, {}, Adapter::operations()[operation].name, device, {}, {}, reason, {}});
}

void Check::skipTheRest()
{
    QSet<QString> named;
    for (const Line &line : m_report.lines())
        named.insert(line.operation);
    for (const Adapter::Operation &operation : Adapter::operations()) {
        if (named.contains(operation.name))
            continue;
        if (isUnrestored(operation.id) && !(m_options.write && m_options.unrestored))
            skip(operation.id, {}, QStringLiteral("what it changes cannot be read and put back: --write --unrestored"));
        else if (operation.effect != Adapter::Effect::Reads && operation.effect != Adapter::Effect::Discovers
                 && !m_options.write)
            skip(operation.id, {}, QStringLiteral("changes a device: --write"));
        else
            skip(operation.id, {}, QStringLiteral("there is no device or cabinet for it"));
    }
}

} // namespace ServiceCheck
