#include "Personalities.h"

#include <adapter/Operations.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <vector>

namespace Simulator {

using Adapter::Effect;
using Adapter::Operation;

namespace {

constexpr int longestWait = std::numeric_limits<int>::max(); // milliseconds

/// The operations of devices, without discovery's own, that have one of these effects.
QStringList withEffect(std::initializer_list<Effect> effects)
{
    QStringList names;
    for (const Operation &operation : Adapter::operations()) {
        if (operation.address != Adapter::Address::Wall
            && std::find(effects.begin(), effects.end(), operation.effect) != effects.end())
            names += operation.name;
    }
    return names;
}

struct Personality {
    const char *name;
    Timing timing;
    QList<Fault> faults;
};

Fault everywhere(Fault::Type type)
{
    Fault fault;
    fault.type = type;
    return fault;
}

QList<Fault> at(const QStringList &operations, Fault fault)
{
    QList<Fault> faults;
    for (const QString &operation : operations) {
        fault.operation = operation;
        faults += fault;
    }
    return faults;
}

const std::vector<Personality> &personalities()
{
    static const auto *const table = [] {
        Timing slow;
        slow.latency = 200;
        slow.jitter = 100;
        slow.bytesPerSecond = 2000000;
        Fault notFound = everywhere(Fault::Status);
        notFound.status = QStringLiteral("404");
        Fault vanish = everywhere(Fault::Vanish);
        vanish.operation = Adapter::operations()[Operation::ScreenInfo_getScreens].name;
        return new std::vector<Personality>{
            {"obedient", {}, {}},
            {"slow", slow, {}},
            {"silent", {}, {everywhere(Fault::NoAnswer)}},
            {"refuses writes", {}, at(withEffect({Effect::Changes}), everywhere(Fault::NoAnswer))},
            {"rejects uploads", {}, {everywhere(Fault::RejectUpload)}},
            {"damaged blocks", {}, {everywhere(Fault::DirtyBase64)}},
            {"short replies", {}, {everywhere(Fault::TruncateReply)}},
            {"answers 404", {}, at(withEffect({Effect::Reads, Effect::Changes, Effect::Locks}), notFound)},
            {"vanishes in refresh", {}, {vanish}},
            {"forgets on restart", {}, {}},
        };
    }();
    return *table;
}

/// The first one for an empty or unknown name.
const Personality &personalityOf(const Device &device)
{
    for (const Personality &personality : personalities()) {
        if (device.personality == QLatin1String(personality.name))
            return personality;
    }
    return personalities().front();
}

} // namespace

QStringList personalityNames()
{
    QStringList names;
    for (const Personality &personality : personalities())
        names += QString::fromLatin1(personality.name);
    return names;
}

QStringList operationNames()
{
    QStringList names = withEffect({Effect::Discovers, Effect::Reads, Effect::Changes, Effect::Locks});
    names.sort();
    return names;
}

Timing timingOf(const Device &device)
{
    const Timing &base = personalityOf(device).timing;
    const Timing &own = device.timing;
    const auto added = [](int a, int b) { return static_cast<int>(qBound<qint64>(0, qint64(a) + b, longestWait)); };
    Timing sum;
    sum.latency = added(base.latency, own.latency);
    sum.jitter = added(base.jitter, own.jitter);
    sum.bytesPerSecond = base.bytesPerSecond > 0 && own.bytesPerSecond > 0 ? qMin(base.bytesPerSecond, own.bytesPerSecond)
                                                                           : qMax(base.bytesPerSecond, own.bytesPerSecond);
    sum.settleInThread = base.settleInThread || own.settleInThread;
    return sum;
}

std::vector<ScriptData> rulesOf(const Device &device)
{
    std::vector<ScriptData> rules;
    for (const QList<Fault> &faults : {personalityOf(device).faults, device.faults}) {
        for (const Fault &fault : faults)
            rules.push_back(ruleOf(fault));
    }
    return rules;
}

} // namespace Simulator
