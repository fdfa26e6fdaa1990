#pragma once

namespace Simulator {

/// How the wall's time passes.
enum class ClockMode {
    RealTime, ///< Calls sleep; uploads settle and events happen in real time, in the event loop.
    Stepped,  ///< Timeline::advance() and calls advance the time; no call sleeps.
    Skipping  ///< As Stepped; in addition, an idle event loop advances the time to the next event while uploads are pending,
              ///< so that waiting for them takes no real time.
};

} // namespace Simulator
