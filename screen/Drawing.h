#pragma once

#include <Correction/DrawingCheckerboard.h>
#include <Correction/DrawingParameter.h>

#include <QtCore/QPoint>
#include <QtCore/QVariant>

#include <optional>

/// Test-pattern arithmetic: 32-bit, without undefined behaviour for any number.
namespace Correction {
namespace Drawing {

/// Phase of the block grid of a pixel image at a piece's corner, `distance` pixels from the pattern's own; null where the
/// grid has no period.
std::optional<int> blockPhase(int distance, int blockSize, int interval);

/// Whether the sizes and colours of a board's pieces can be computed: none of the divisors is 0.
bool hasPhase(const DrawingCheckerboard &board);

QVariantMap colorMap(const QColor &color);

} // namespace Drawing
} // namespace Correction
