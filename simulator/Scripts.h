#pragma once

#include <simulator/Script.h>
#include <simulator/SimulatorGlobal.h>

#include <QtCore/QString>

#include <list>
#include <memory>
#include <mutex>

namespace Simulator {

/// Results that a program sets for certain calls. See VirtualWall::scripts().
class SIMULATOR_API Scripts
{
public:
    /// Adds a script for an operation, at a device, for a target (cabinet id or screen selector); a null string matches
    /// any. An upload with a promise has no target. Of the scripts that apply to a call the one added last is used.
    /// The reference stays valid until clear() or VirtualWall::reset().
    Script &on(const QString &operation, const QString &deviceKey = QString(), const QString &target = QString());
    /// Removes all scripts; references to them become invalid.
    void clear();

private:
    friend struct Wall;
    friend class Calls;
    explicit Scripts(std::mutex &mutex) : m_mutex(mutex) {}
    /// Counts a call and returns the script that serves it, or null. The lock must be held.
    ScriptData *find(const Call &call, bool promise);

    std::mutex &m_mutex;
    std::list<std::unique_ptr<Script>> m_scripts; ///< Newest first.
};

} // namespace Simulator
