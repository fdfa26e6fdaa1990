#include <simulator/Faults.h>

#include "Wall.h"

namespace Simulator {

bool Faults::add(const QString &deviceKey, const Fault &fault)
{
    Event event;
    event.type = Event::AddFault;
    event.deviceKey = deviceKey;
    event.fault = fault;
    return m_wall.time.happen(event);
}

bool Faults::clear(const QString &deviceKey)
{
    Event event;
    event.type = Event::ClearFaults;
    event.deviceKey = deviceKey;
    return m_wall.time.happen(event);
}

void Faults::setChaos(double share)
{
    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    m_wall.memory.chaos = share;
}

void Faults::setSeed(quint64 seed)
{
    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    m_wall.memory.seed = seed;
    m_wall.memory.random = Random(seed);
}

} // namespace Simulator
