#include <simulator/Scripts.h>

#include "Rules.h"

namespace Simulator {

Script &Scripts::on(const QString &operation, const QString &deviceKey, const QString &target)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_scripts.push_front(std::unique_ptr<Script>(new Script(m_mutex, operation, deviceKey, target)));
    return *m_scripts.front();
}

void Scripts::clear()
{
    std::list<std::unique_ptr<Script>> scripts; // hooks are destroyed without the lock
    const std::lock_guard<std::mutex> lock(m_mutex);
    scripts.swap(m_scripts);
}

ScriptData *Scripts::find(const Call &call, bool promise)
{
    ScriptData *found = nullptr;
    for (const std::unique_ptr<Script> &script : m_scripts) {
        if (script->d->matches(call, promise) && !found && script->d->isDue())
            found = script->d.get();
    }
    return found;
}

} // namespace Simulator
