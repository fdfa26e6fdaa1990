#pragma once

namespace Simulator {

/// Whether a picture of a test image includes gamma and brightness.
enum class Light {
    Nominal, ///< The colours of the requests.
    /// The colours after gamma and then brightness, each cabinet by its own.
    ///
    /// Gamma: of each colour channel the cabinet's table, or its device's where the cabinet's is empty; where both are,
    /// the level stays. The N entries of a table belong to N evenly spaced levels from 0 to 255, with straight lines
    /// between them (one entry: to all levels); negative ones count as 0. Full light is 2^b - 1, with the smallest b of 8
    /// or more for which it is no less than any entry of the cabinet's three tables: 255, 1023, 4095, 65535 and so on.
    ///
    /// Brightness: light times the cabinet's brightness, brought into the range of brightnessMin to brightnessMax, divided
    /// by brightnessMax; unchanged where that is not positive. The result is rounded to 0 to 255, halves up.
    Effective
};

/// Values from `least` to `greatest`, both included; empty where `greatest` is less.
struct ValueRange {
    int least = 0;     ///< Included.
    int greatest = -1; ///< Included.

    /// Whether there is no value in it.
    bool isEmpty() const { return greatest < least; }
};

} // namespace Simulator
