#pragma once

class QVariant;

namespace Correction {

class CabinetBaseInfo;

/// Fills the five switches from one map of a base-information reply (its map "functionTable"); a missing key gives false or 0.
void readFeatureTable(const QVariant &element, CabinetBaseInfo &info);

} // namespace Correction
