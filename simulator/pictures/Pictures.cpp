#include <simulator/Pictures.h>

#include "Draw.h"
#include "Parts.h"
#include "device/Act.h"

namespace Simulator {

QImage Pictures::layout(const QString &screenId, int maxWidth) const
{
    return drawLayout(screenState(m_mutex, m_state, screenId), maxWidth);
}

QImage Pictures::coefficients(const QString &screenId, int channel, Kind kind, const ValueRange &range, int maxWidth) const
{
    return resultOrWarn(
        [&] { return drawCoefficients(screenState(m_mutex, m_state, screenId), kind, channel, range, maxWidth); });
}

ValueRange Pictures::coefficientRange(const QString &screenId, int channel, Kind kind) const
{
    return resultOrWarn([&] { return rangeOfCoefficients(screenState(m_mutex, m_state, screenId), kind, channel); });
}

QImage Pictures::pattern(const QString &screenId, Light light) const
{
    return drawPatterns(screenState(m_mutex, m_state, screenId), light);
}

} // namespace Simulator
