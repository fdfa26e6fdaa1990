#pragma once

class QVariant;

namespace Correction {

class CabinetBaseInfo;

/// The five switches of one map of a base-information reply (its map "functionTable"); a missing key gives false or 0.
CabinetBaseInfo featuresOf(const QVariant &element);

} // namespace Correction
