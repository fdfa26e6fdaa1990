#pragma once

#include <adapter/Operations.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QMap>
#include <QtCore/QVariant>

#include <type_traits>

/// The settings of devices for tests, from DeviceSettings::fields().
namespace SettingTests {

/// Requests that set every setting of a device to another value than delivered, by their operations.
inline QMap<Adapter::Operation::Id, QVariantMap> settingRequests()
{
    QMap<Adapter::Operation::Id, QVariantMap> requests;
    int number = 0;
    Simulator::DeviceSettings::fields([&](const char *, auto member, Adapter::Operation::Id setter, const char *key) {
        ++number;
        if (std::is_same<decltype(member), bool Simulator::DeviceSettings::*>::value)
            requests[setter].insert(QLatin1String(key), true);
        else
            requests[setter].insert(QLatin1String(key), number == 1 ? 300 : number); // a brightness within its range
    });
    return requests;
}

/// Calls an operation that addresses a whole device with a request.
inline bool callDevice(Adapter::Operation::Id operation, const QString &deviceKey, const QVariant &request)
{
    Adapter::Call call;
    call.operation = Adapter::operations()[operation].name;
    call.deviceKey = deviceKey;
    call.target = QStringLiteral("255");
    call.request = request;
    return Simulator::VirtualWall::instance().answer(call).result;
}

/// The settings of a device but for its gamma tables, by their names in state.json.
inline QVariantMap settingsOf(const QString &deviceKey)
{
    const Simulator::DeviceSettings settings = Simulator::VirtualWall::instance().state().settings(deviceKey);
    QVariantMap values;
    Simulator::DeviceSettings::fields([&](const char *name, auto member, Adapter::Operation::Id, const char *) {
        values.insert(QLatin1String(name), settings.*member);
    });
    return values;
}

} // namespace SettingTests
