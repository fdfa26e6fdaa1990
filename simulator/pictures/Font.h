#pragma once

#include <QtCore/QChar>

/// A bitmap font for pictures, so that they need neither a GUI application nor installed fonts: the printable ASCII
/// characters; every other one is shown as an empty box.
namespace Simulator::Font {

constexpr int width = 5;
constexpr int capHeight = 7;       ///< From the top of a capital letter or digit to the baseline.
constexpr int height = 9;          ///< With what hangs below the baseline.
constexpr int advance = width + 1; ///< From one character to the next.

/// Whether the character has a dot at column `x` (0 to width - 1) and row `y` (0 to height - 1).
bool hasDot(QChar character, int x, int y);

} // namespace Simulator::Font
