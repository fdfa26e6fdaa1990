#pragma once

#include <simulator/ClockMode.h>
#include <simulator/SimulatorGlobal.h>
#include <simulator/WallDescription.h>

namespace Simulator {

struct Wall;

/// A wall's time and scheduled events. See VirtualWall::timeline().
class SIMULATOR_API Timeline
{
public:
    /// Changes how time passes; the time itself is kept.
    void setClock(ClockMode mode);
    /// Milliseconds since VirtualWall::reset() or setWall().
    qint64 now() const;
    /// Lets time pass and runs the events that are due. In real time the caller sleeps.
    void advance(qint64 milliseconds);
    /// Schedules an event; one in the past runs next. In real time the event loop of the calling thread runs it; without
    /// one, the next call of the service.
    void schedule(const Event &event);

private:
    friend struct Wall;
    explicit Timeline(Wall &wall) : m_wall(wall) {}

    Wall &m_wall;
};

} // namespace Simulator
