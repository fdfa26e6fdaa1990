#pragma once

#include "Session.h"

namespace Ctl {

/// Number of pixels. Devices may report any rectangle: what no grid can hold counts as the largest int, so that neither this
/// nor a sum over cabinets overflows.
qint64 area(const QRect &rect);

/// The rectangle that --rect means on a screen. Throws a Failure with the library's enOutOfRange for one outside it.
QRect chosenRect(Session &session, Correction::IScreen &screen);

/// Checks what a read into a file is given, before any device is asked: the file's form, whether it can be written, and the
/// channel that a preview shows.
void checkReadTarget(const QString &path, Correction::EnumCoefficientType kind, int channel);

/// Reads any rectangle of a screen: the cabinets that meet it are read whole, and what lies inside is cut out. Pixels
/// without a cabinet are 0; their number goes to `uncovered`.
Correction::CoefficientPtr readRect(Session &session, Correction::IScreen &screen, const QRect &rect,
                                    Correction::EnumCoefficientType kind, qint64 &uncovered);

/// Writes a grid laid out over `rect`, in bands of whole cabinets, so that progress shows and Ctrl-C can end it between two.
/// All devices of a band work at once, unless `oneByOne`. `save`: saving follows, which Ctrl-C prevents as well.
void writeRect(Session &session, Correction::IScreen &screen, const QRect &rect, Correction::ICoefficient &grid,
               bool oneByOne, bool save);

/// The rectangle in bands from top to bottom that split no cabinet; each but the last has at least `pixels` pixels.
QVector<QRect> bandsOf(const QRect &rect, const QList<Correction::CabinetInfo> &cabinets, qint64 pixels);

/// Reports a write: as reportTransfer(), besides whether it was saved.
void reportWrite(Session &session, const QString &target, const QRect &rect, int kind, const QString &file, bool saved);

/// Reports pixels that no cabinet has, and what became of them.
void reportUncovered(Session &session, qint64 pixels, const char *what);

/// What the verbs that transfer print: "384x256 pixels written".
void reportTransfer(Session &session, const QString &done, const QString &target, const QRect &rect, int kind,
                    const QString &file);

} // namespace Ctl
