#include "Transfer.h"

#include "Service.h"
#include "files/Files.h"
#include "files/Grid.h"
#include "files/Json.h"
#include "terminal/Interrupt.h"
#include "terminal/Progress.h"

#include <Correction/ScreenReader.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <optional>

using namespace Correction;

namespace Ctl {

namespace {

/// Bytes that a pixel of a kind has, as coefficients.
int pixelBytes(EnumCoefficientType kind)
{
    return kind == enMultilayerCoefficient ? lengthOf(kind) : 2 * lengthOf(kind);
}

/// A band is small enough to show progress and to end soon, and large enough that requests do not cost more than pixels.
constexpr qint64 bandPixels = 1 << 16;

} // namespace

qint64 area(const QRect &rect)
{
    if (rect.isEmpty())
        return 0;
    const qint64 width = qint64(rect.right()) - rect.left() + 1;
    const qint64 height = qint64(rect.bottom()) - rect.top() + 1;
    constexpr qint64 most = std::numeric_limits<int>::max();
    return width > most / height ? most : width * height;
}

QRect chosenRect(Session &session, IScreen &screen)
{
    const QRect whole = Session::rectOf(screen);
    const QString text = session.arguments().text("--rect", QStringLiteral("all"));
    const QRect rect = text == QLatin1String("all") ? whole : parseRect(text).value_or(QRect());
    if (rect.isEmpty() || !whole.contains(rect))
        throw Failure(enOutOfRange, QStringLiteral("rectangle %1 is outside screen %2, which is %3")
                                        .arg(rectText(rect), screen.getID(), rectText(whole)));
    return rect;
}

void checkReadTarget(const QString &path, EnumCoefficientType kind, int channel)
{
    formOf(path);
    if (channel >= lengthOf(kind))
        throw Failure(ExitUsage, QStringLiteral("--channel %1: %2 pixels have the values 0 to %3")
                                     .arg(channel)
                                     .arg(kindText(kind))
                                     .arg(lengthOf(kind) - 1));
    checkWritable(path);
}

namespace {

/// In the place of a grid that would hold all that is read. It has the size of one, and passes on what is pasted.
class PassingGrid final : public IChromaCoefficient
{
public:
    PassingGrid(const QSize &size, const TakePart &take) : m_size(size), m_take(take) {}

    /// Throws again what `take` threw: exceptions do not pass through the library's paste.
    void check()
    {
        if (m_error)
            std::rethrow_exception(m_error);
    }

    EnumErrorCode setPartCoefficient(const QRect &rect, ICoefficient &source) override
    {
        auto *const chroma = dynamic_cast<IChromaCoefficient *>(&source);
        if (!chroma)
            return enArgumentMismatch;
        QVector<unsigned short> values = chroma->getCoefficient();
        return setPartCoefficient(rect, values);
    }
    EnumErrorCode setPartCoefficient(const QRect &rect, QVector<unsigned short> &values) override
    {
        try {
            if (!m_error)
                m_take(rect, values);
        } catch (...) {
            m_error = std::current_exception();
        }
        return enSuccess;
    }

    int getPixelRow() override { return m_size.height(); }
    int getPixelCol() override { return m_size.width(); }
    int getPixelLength() override { return chromaPixelLength; }
    EnumCoefficientType getType() override { return enCommonCoefficient; }
    // It holds no values.
    void setPixelRow(int) override {}
    void setPixelCol(int) override {}
    ICoefficient *getCopy() override { return nullptr; }
    ICoefficient *tryGetPart(const QRect &) override { return nullptr; }
    QString toBase64() override { return {}; }
    EnumErrorCode tryGetAvg(QVector<unsigned short> &) override { return enNotSupported; }
    EnumErrorCode toByteArray(QByteArray &) override { return enNotSupported; }
    QVector<unsigned short> getCoefficient() override { return {}; }
    EnumErrorCode setCoefficient(QVector<unsigned short> &) override { return enNotSupported; }
    QString toJsonData() override { return {}; }

private:
    const QSize m_size;
    const TakePart &m_take;
    std::exception_ptr m_error;
};

/// `afterEach` is called after each cabinet, and may throw.
void readInto(Session &session, IScreen &screen, const QRect &rect, ICoefficient &target, qint64 &uncovered,
              const std::function<void()> &afterEach)
{
    const EnumCoefficientType kind = target.getType();
    QString what = QStringLiteral("screen %1: listing its cabinets").arg(screen.getID());
    std::optional<Progress> bar;
    qint64 shown = 0;
    const auto onProgress = [&](const ScreenReader::Progress &progress) {
        check(enSuccess, what); // the reply of the cabinet before
        if (!bar)
            bar.emplace(session.out(), QStringLiteral("reading"), progress.pixels * pixelBytes(kind));
        bar->advance((progress.pixelsRead - shown) * pixelBytes(kind));
        shown = progress.pixelsRead;
        afterEach();
        if (!progress.next)
            return;
        const CabinetInfo &cabinet = *progress.next;
        Interrupt::check(QStringLiteral("%1 of %2 read, no file written")
                             .arg(progress.cabinetsRead)
                             .arg(counted(progress.cabinets, "cabinet")));
        what =
            QStringLiteral("screen %1: reading cabinet %2 of device %3").arg(screen.getID(), cabinet.id, cabinet.deviceKey);
        session.cabinet(cabinet.id); // throws for an id that several devices have
    };
    QRegion holes;
    check(ScreenReader(screen).tryGetCoefficients(rect, target, &holes, onProgress), what);
    uncovered = 0;
    for (const QRect &hole : holes)
        uncovered += area(hole);
}

} // namespace

CoefficientPtr readRect(Session &session, IScreen &screen, const QRect &rect, EnumCoefficientType kind, qint64 &uncovered)
{
    CoefficientPtr target(CoefficientFactory::getCoefficient(kind, rect.height(), rect.width()));
    if (!target)
        throw Failure(enNotSupported, QStringLiteral("screen %1: %2 coefficients of %3 pixels cannot be read")
                                          .arg(screen.getID(), kindText(kind), sizeText(rect.size())));
    readInto(session, screen, rect, *target, uncovered, [] {});
    return target;
}

bool isReadInParts(const QRect &rect, EnumCoefficientType kind)
{
    return kind == enCommonCoefficient && area(rect) <= std::numeric_limits<int>::max() / pixelBytes(kind);
}

void readParts(Session &session, IScreen &screen, const QRect &rect, qint64 &uncovered, const TakePart &take)
{
    PassingGrid target(rect.size(), take);
    readInto(session, screen, rect, target, uncovered, [&] { target.check(); });
}

QVector<QRect> bandsOf(const QRect &rect, const QList<CabinetInfo> &cabinets, qint64 pixels)
{
    // A band may end between two rows of pixels when no cabinet contains both rows.
    QVector<QPair<int, int>> spans; // of cabinets: first row, row behind the last
    for (const CabinetInfo &cabinet : cabinets) {
        if (cabinet.rect.intersects(rect))
            spans.append({cabinet.rect.top(), cabinet.rect.top() + cabinet.rect.height()});
    }
    std::sort(spans.begin(), spans.end());
    QVector<QRect> bands;
    int top = rect.top();
    const int end = rect.top() + rect.height();
    int covered = top;
    for (const auto &span : qAsConst(spans)) {
        if (span.first >= covered && covered > top && qint64(covered - top) * rect.width() >= pixels) {
            bands.append(QRect(rect.left(), top, rect.width(), covered - top));
            top = covered;
        }
        covered = std::max(covered, std::min(span.second, end));
    }
    bands.append(QRect(rect.left(), top, rect.width(), end - top));
    return bands;
}

void writeRect(Session &session, IScreen &screen, const QRect &rect, EnumCoefficientType kind, const PartAt &partAt,
               bool oneByOne, bool save)
{
    const QList<CabinetInfo> cabinets = Session::cabinetsOf(screen);
    const QVector<QRect> bands = bandsOf(rect, cabinets, bandPixels);
    Progress progress(session.out(), QStringLiteral("writing"), area(rect) * pixelBytes(kind));
    int written = 0;
    const auto done = [&] {
        const int rows = written == 0 ? 0 : bands[written - 1].bottom() + 1 - rect.top();
        return rows == 0 ? QStringLiteral("nothing was written")
                         : QStringLiteral("rows %1 to %2 are written, nothing is saved")
                               .arg(rect.top())
                               .arg(rect.top() + rows - 1);
    };
    // A file may become unreadable after a part of it was written.
    const auto partOf = [&](const QRect &band, const QString &what) {
        try {
            return partAt(band.translated(-rect.topLeft()));
        } catch (const Failure &failure) {
            throw written == 0 ? failure : Failure(failure.exit(), what + QStringLiteral(": ") + failure.text());
        }
    };
    for (const QRect &band : bands) {
        Interrupt::check(done());
        const QString what =
            QStringLiteral("screen %1: writing %2 (before it, %3)").arg(screen.getID(), rectText(band), done());
        const CoefficientPtr values = partOf(band, what);
        if (oneByOne) {
            for (const QString &key : Session::devicesOf(cabinets))
                check(screen.tryGetSubScreen(key)->setCoefficients(band, *values), what);
        } else {
            check(screen.setCoefficients(band, *values), what);
        }
        ++written;
        progress.advance(area(band) * pixelBytes(kind));
    }
    // The last point at which Ctrl-C prevents saving.
    if (save)
        Interrupt::check(done());
}

void reportTransfer(Session &session, const QString &done, const QString &target, const QRect &rect, int kind,
                    const QString &file)
{
    session.out().data({{QStringLiteral("target"), target},
                        {QStringLiteral("rect"), rectJson(rect)},
                        {QStringLiteral("type"), kindText(kind)},
                        {QStringLiteral("file"), file}});
    session.out().line(QStringLiteral("%1: %2 %3 pixels at %4,%5 %6 %7")
                           .arg(target, sizeText(rect.size()), kindText(kind), QString::number(rect.x()),
                                QString::number(rect.y()), done, file));
}

void reportUncovered(Session &session, qint64 pixels, const char *what)
{
    session.out().data({{QStringLiteral("withoutCabinet"), pixels}});
    if (pixels > 0)
        session.out().line(QStringLiteral("%1 without a cabinet: %2").arg(counted(pixels, "pixel"), QLatin1String(what)));
}

void reportWrite(Session &session, const QString &target, const QRect &rect, int kind, const QString &file, bool saved)
{
    const QString done = QLatin1String(saved ? "written and saved from" : "written from");
    reportTransfer(session, session.dryRun() ? QStringLiteral("would be ") + done : done, target, rect, kind, file);
    session.out().data({{QStringLiteral("saved"), saved}});
}

} // namespace Ctl
