#pragma once

#include <simulator/ClockMode.h>
#include <simulator/SimulatorGlobal.h>
#include <simulator/WallDescription.h>

namespace Simulator {

struct Wall;

/// A wall's time, and what is to come. See VirtualWall::timeline().
class SIMULATOR_API Timeline
{
public:
    /// Changes the way in which time passes; the time itself goes on.
    void setClock(ClockMode mode);
    /// Milliseconds since VirtualWall::reset() or setWall().
    qint64 now() const;
    /// Lets time pass, with all that happens meanwhile. In real time the caller sleeps.
    void advance(qint64 milliseconds);
    /// Adds something that happens by itself; what lies in the past happens next. In real time the event loop of the
    /// calling thread looks after it; without one, whichever call of the service comes next.
    void schedule(const Event &event);

private:
    friend struct Wall;
    explicit Timeline(Wall &wall) : m_wall(wall) {}

    Wall &m_wall;
};

} // namespace Simulator
