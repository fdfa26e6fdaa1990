#pragma once

namespace Simulator {

/// How the wall's time passes.
enum class ClockMode {
    RealTime, ///< As on the desk: calls sleep, uploads settle and events happen by the event loop.
    Stepped,  ///< By advance(), and by calls, which take their time at once; nothing sleeps.
    Skipping  ///< As Stepped; besides, an event loop that has nothing else to do while uploads are pending moves the
              ///< time on to what comes next, so that whoever waits for them does not wait.
};

} // namespace Simulator
