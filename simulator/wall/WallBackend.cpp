#include "WallBackend.h"

#include "Wall.h"
#include "device/Acts.h"

#include <adapter/Operations.h>

#include <stdexcept>

namespace Simulator {

using Adapter::Operation;

namespace {

/// A program that links this library and installs no other backend has the wall.
const bool isDefault = [] {
    Adapter::setDefaultBackend([]() -> Adapter::DeviceBackend * { return &WallBackend::instance(); });
    return true;
}();

const Act &actFor(const Call &call)
{
    const Operation *const operation = Adapter::findOperation(call.operation);
    if (!operation)
        throw std::invalid_argument("no such operation");
    return Acts::of(operation->id);
}

} // namespace

WallBackend &WallBackend::instance()
{
    static auto *const wall = [] {
        auto *const made = new WallBackend;
        if (!Adapter::backend())
            Adapter::setBackend(made);
        return made;
    }();
    return *wall;
}

Adapter::Answer WallBackend::answer(const Call &call)
{
    return Wall::instance().serve(call, actFor(call));
}

QtPromise::QPromise<bool> WallBackend::upload(const Call &call)
{
    return Wall::instance().upload(call, actFor(call));
}

void WallBackend::initialize(bool enable)
{
    Call call;
    call.operation = Adapter::operations()[Operation::HttpProxy_initialize].name;
    call.extra = enable;
    answer(call);
}

QList<Adapter::DeviceInfo> WallBackend::devices()
{
    Call call;
    call.operation = Adapter::operations()[Operation::HttpProxy_getDeviceList].name;
    QList<Adapter::DeviceInfo> devices;
    const Answer found = answer(call);
    if (found.result) {
        const QVariantList list = found.reply.toList();
        for (const QVariant &device : list) {
            const QVariantMap map = device.toMap();
            devices += {map.value(QStringLiteral("key")).toString(), map.value(QStringLiteral("label")).toString()};
        }
    }
    return devices;
}

} // namespace Simulator
