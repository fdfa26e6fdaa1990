#pragma once

#include "Session.h"

#include <QtCore/QVector>

#include <functional>

namespace Ctl {

/// Number of pixels. Devices may report any rectangle: a count above the largest int is limited to it, so that neither this
/// nor a sum over cabinets overflows.
qint64 area(const QRect &rect);

/// The rectangle that --rect means on a screen. Throws a Failure with the library's enOutOfRange for one outside it.
QRect chosenRect(Session &session, Correction::IScreen &screen);

/// Checks the arguments of a read into a file before any device is called: the file's form, whether it can be written, and
/// the channel of a preview.
void checkReadTarget(const QString &path, Correction::EnumCoefficientType kind, int channel);

/// Reads any rectangle of a screen: the cabinets that overlap it are read whole, and the part inside is cut out. Pixels
/// without a cabinet are 0; their number goes to `uncovered`.
Correction::CoefficientPtr readRect(Session &session, Correction::IScreen &screen, const QRect &rect,
                                    Correction::EnumCoefficientType kind, qint64 &uncovered);

/// Reads chroma coefficients as readRect(), but passes each cabinet's part of `rect` to `take`, which may throw, instead of
/// holding them all: the part's place relative to `rect`, and its values.
using TakePart = std::function<void(const QRect &, const QVector<quint16> &)>;
void readParts(Session &session, Correction::IScreen &screen, const QRect &rect, qint64 &uncovered, const TakePart &take);
/// Whether a rectangle can be read in parts: it is of chroma, and not larger than what the library reads at once.
bool isReadInParts(const QRect &rect, Correction::EnumCoefficientType kind);

/// Writes the grid that `partAt` gives the parts of, laid out over `rect`, in bands of whole cabinets, so that progress is
/// shown and Ctrl-C can stop between two of them. All devices of a band work at once, unless `oneByOne`. `save`: saving
/// follows, which Ctrl-C prevents as well.
using PartAt = std::function<Correction::CoefficientPtr(const QRect &)>; // relative to `rect`
void writeRect(Session &session, Correction::IScreen &screen, const QRect &rect, Correction::EnumCoefficientType kind,
               const PartAt &partAt, bool oneByOne, bool save);

/// The rectangle in bands from top to bottom that split no cabinet; each but the last has at least `pixels` pixels.
QVector<QRect> bandsOf(const QRect &rect, const QList<Correction::CabinetInfo> &cabinets, qint64 pixels);

/// Reports a write: as reportTransfer(), besides whether it was saved.
void reportWrite(Session &session, const QString &target, const QRect &rect, int kind, const QString &file, bool saved);

/// Reports pixels without a cabinet, and how they were handled.
void reportUncovered(Session &session, qint64 pixels, const char *what);

/// What the verbs that transfer print: "384x256 pixels written".
void reportTransfer(Session &session, const QString &done, const QString &target, const QRect &rect, int kind,
                    const QString &file);

} // namespace Ctl
