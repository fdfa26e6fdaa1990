#pragma once

#include "verbs/Verbs.h"

#include <Correction/Enumerations.h>

#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtGui/QColor>

#include <optional>

namespace Ctl {

/// The texts that a user writes, as values. Nothing where the text is wrong.
std::optional<qint64> parseNumber(const QString &text);
/// "X,Y,WxH": W and H at least 1, all corners within an int.
std::optional<QRect> parseRect(const QString &text);
std::optional<QSize> parseSize(const QString &text);
std::optional<QColor> parseColor(const QString &text);
std::optional<Correction::EnumCoefficientType> parseKind(const QString &text);

QString rectText(const QRect &rect); ///< "X,Y,WxH"
QString sizeText(const QSize &size); ///< "WxH"
QString kindText(int kind);
/// "1 cabinet", "2 cabinets"
QString counted(qint64 number, const char *thing);
/// "12.3 MB"
QString bytesText(double bytes);

/// A string for a terminal: characters that control one, or the order of characters, as "\n", "\x1b" and "\u202e".
QString printable(const QString &text);

/// What is wrong with the text of a parameter; empty if all is well.
QString complaint(const Parameter &parameter, const QString &text);

} // namespace Ctl
