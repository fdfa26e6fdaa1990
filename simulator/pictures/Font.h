#pragma once

#include <QtCore/QChar>
#include <QtCore/QString>

/// A bitmap font for pictures. Qt's fonts need a QGuiApplication, which the programs that use the wall need not have. It has
/// the letters of the Latin, Greek and Cyrillic scripts, with their accents, and the signs that are usual in names.
namespace Simulator::Font {

constexpr int width = 5;
constexpr int capHeight = 7;       ///< From the top of a capital letter or digit to the baseline.
constexpr int height = 9;          ///< With what hangs below the baseline.
constexpr int markHeight = 2;      ///< Of the accent on a capital letter, above its top.
constexpr int advance = width + 1; ///< From one character to the next.

/// The text in the characters of this font, each as wide as the next; others as "\\u5927".
QString drawable(const QString &text);
/// Whether the character has a dot at column `x` (0 to width - 1) and row `y` (-markHeight to height - 1). One that the font
/// does not have is an empty box.
bool hasDot(QChar character, int x, int y);

} // namespace Simulator::Font
