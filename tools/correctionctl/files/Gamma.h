#pragma once

#include <Correction/CabinetBaseInfo.h>
#include <Correction/Enumerations.h>

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>

#include <array>

namespace Ctl {

using GammaTables = QMap<Correction::EnumGammaType, QList<int>>;

/// The numbers under which red, green and blue tables go, in this order. Screens number them as EnumGammaType does; cabinets
/// have blue under 1 and green under 2.
using GammaChannels = std::array<int, 3>;
GammaChannels screenChannels();
GammaChannels cabinetChannels();

/// {"red": [...], "green": [...], "blue": [...]}
QJsonObject gammaJson(const GammaTables &tables, const GammaChannels &channels);
/// "red 256, green 256, blue 256 entries"
QString gammaSummary(const GammaTables &tables, const GammaChannels &channels);
/// The tables of a file. Throws a Failure that names it, and the place and the reason.
GammaTables readGamma(const QString &path, const GammaChannels &channels);

QJsonObject supportJson(const Correction::CabinetBaseInfo &info);

} // namespace Ctl
