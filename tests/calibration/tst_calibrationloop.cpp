// The whole loop: a camera measures the virtual wall, coefficients are calculated and written through the library, and the
// camera sees the wall again.

#include "simulator/PhotoFiles.h"
#include "support/LogCapture.h"
#include "support/PythonCheck.h"
#include "support/Values.h"

#include <Correction/Coefficient.h>
#include <Correction/ScreenManager.h>
#include <adapter/BackendFilter.h>
#include <calibration/Coefficients.h>
#include <calibration/Plan.h>
#include <calibration/Report.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>

using namespace Calibration;
using TestSupport::writeFile;

namespace {

using Values = QVector<unsigned short>;
using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

const QString screenId = QStringLiteral("screen");
const QString leftKey = QStringLiteral("left");
const QString rightKey = QStringLiteral("right");
const QSize screenSize(64, 32);
const QRect leftPart(0, 0, 32, 32);
const QRect rightPart(32, 0, 32, 32);
const Seams seams{{20, 32}, {20}}; // between cabinets

constexpr std::array<Input, 4> inputs{Input::Red, Input::Green, Input::Blue, Input::White};

QString nameOf(Input input)
{
    static const char *const names[] = {"red", "green", "blue", "white"};
    return QString::fromLatin1(names[static_cast<int>(input)]);
}

Simulator::Cabinet cabinetOf(int id, const QRect &rect)
{
    Simulator::Cabinet cabinet;
    cabinet.id = QString::number(id);
    cabinet.outputId = QStringLiteral("1");
    cabinet.position = rect.topLeft();
    cabinet.size = rect.size();
    const int half = rect.width() / 2;
    cabinet.receivingCards = {{QStringLiteral("0"),
                               QString(),
                               QRect(QPoint(), rect.size()),
                               {{QStringLiteral("0"), QString(), QRect(0, 0, half, rect.height())},
                                {QStringLiteral("1"), QString(), QRect(half, 0, rect.width() - half, rect.height())}}}};
    return cabinet;
}

/// Two controllers side by side, each with two cabinets of different sizes, and uneven LEDs.
Simulator::WallDescription unevenWall()
{
    Simulator::WallDescription wall;
    for (const QString &key : {leftKey, rightKey}) {
        Simulator::Device device;
        device.key = key;
        device.screenId = screenId;
        device.screenName = QStringLiteral("Screen");
        device.brightnessDefault = device.brightnessMax;
        device.leds = Simulator::ledPreset(QStringLiteral("mixed"));
        wall.devices += device;
    }
    wall.devices[0].subScreens = {{QPoint(), {cabinetOf(1, QRect(0, 0, 20, 32)), cabinetOf(2, QRect(20, 0, 12, 32))}}};
    wall.devices[1].subScreens = {{QPoint(), {cabinetOf(3, QRect(0, 0, 32, 20)), cabinetOf(4, QRect(0, 20, 32, 12))}}};
    wall.devices[1].screenPosition = rightPart.topLeft();
    return wall;
}

/// Between the library and the wall: changes the values of each uploaded block, as a wrong library would.
class Uploads : public Adapter::BackendFilter
{
public:
    /// Nine values for each pixel of a block, which is `width` pixels wide.
    using Change = std::function<void(const QString &deviceKey, int width, Values &values)>;

    using BackendFilter::BackendFilter;

    QtPromise::QPromise<bool> upload(const Adapter::Call &call) override
    {
        if (!change)
            return BackendFilter::upload(call);
        const QString blocksKey = QStringLiteral("coefficientList");
        const QString valuesKey = QStringLiteral("coefficient");
        List cabinets = call.request.toList();
        for (QVariant &cabinet : cabinets) {
            Map entry = cabinet.toMap();
            List blocks = entry[blocksKey].toList();
            for (QVariant &block : blocks) {
                Map fields = block.toMap();
                const Map size = fields[QStringLiteral("area")].toMap().value(QStringLiteral("size")).toMap();
                Values values = TestSupport::valuesOf(QByteArray::fromBase64(fields[valuesKey].toString().toLatin1()));
                change(call.deviceKey, size.value(QStringLiteral("width")).toInt(), values);
                fields[valuesKey] = TestSupport::base64(values);
                block = fields;
            }
            entry[blocksKey] = QVariant(blocks);
            cabinet = entry;
        }
        Adapter::Call changed = call;
        changed.request = cabinets;
        return BackendFilter::upload(changed);
    }

    Change change;
};

LightImage lightOf(const Simulator::Photo &photo)
{
    LightImage light{photo.size, QVector<float>(int(photo.xyz.size()))};
    std::copy(photo.xyz.begin(), photo.xyz.end(), light.xyz.begin());
    return light;
}

/// Qt multiplies rows by matrices, so its matrix is the transposed one.
QTransform transformOf(const Simulator::Homography &h)
{
    return QTransform(h[0], h[3], h[6], h[1], h[4], h[7], h[2], h[5], h[8]);
}

Simulator::Homography homographyOf(const QTransform &t)
{
    return {{t.m11(), t.m21(), t.m31(), t.m12(), t.m22(), t.m32(), t.m13(), t.m23(), t.m33()}};
}

/// A camera from the left, with a margin around the screen, whose photos are the mean of many exposures.
Simulator::Camera sensor()
{
    const double w = screenSize.width();
    const double h = screenSize.height();
    Simulator::Camera camera;
    camera.photosites = 4;
    camera.blur = 0.45;
    camera.view = homographyOf(transformOf(Simulator::Camera::tilted(screenSize, 0.02))
                               * QTransform(0.88, 0, 0, 0.88, 0.06 * w, 0.06 * h));
    camera.shotNoise = 0.0005;
    camera.readNoise = 0.00002;
    camera.bits = 16;
    return camera;
}

/// A pixel shines from its whole area, whose variance is 1/12.
int sensorInterval()
{
    return Plan::intervalFor(std::sqrt(sensor().blur * sensor().blur + 1 / 12.0), 0.001);
}

using Reports = std::array<Report, 4>; ///< By input.

/// The greatest figure of the four inputs.
double worst(const Reports &reports, double Report::*figure)
{
    double greatest = 0;
    for (const Report &report : reports)
        greatest = std::max(greatest, report.*figure);
    return greatest;
}

QByteArray described(const Reports &reports)
{
    QString lines;
    for (const Input input : inputs) {
        const Report &report = reports[static_cast<std::size_t>(input)];
        lines += QStringLiteral("%1: %2 pixels, %3 cd/m2, deviation %4, CIEDE2000 %5 %6 %7, seams %8\n")
                     .arg(nameOf(input))
                     .arg(report.pixels)
                     .arg(report.luminanceMean)
                     .arg(report.luminanceDeviation)
                     .arg(report.differenceMedian)
                     .arg(report.difference95)
                     .arg(report.differenceWorst)
                     .arg(report.seamWorst);
    }
    return lines.toUtf8();
}

/// The reports on what a measured screen shows.
Reports reportsOf(const Measurement &measurement, const Target &target)
{
    Reports reports;
    for (const Input input : inputs)
        reports[static_cast<std::size_t>(input)] = reportOf(measurement.shown(input), target, input, seams);
    return reports;
}

} // namespace

class tst_CalibrationLoop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_log.emplace();
        m_wall.emplace();
        m_wall->setWall(unevenWall());
        m_uploads.emplace(*m_wall);
        Adapter::setBackend(&*m_uploads);
        auto *const manager = Correction::ScreenManager::getInstance();
        manager->init();
        QCOMPARE(manager->refreshScreen(), Correction::enSuccess);
        m_log->takeCritical(); // new sub-screens
        m_screen = manager->tryGetScreen(screenId);
        QVERIFY(m_screen);
        m_rect = QRect();
        QCOMPARE(m_screen->tryGetRect(m_rect), Correction::enSuccess);
        QCOMPARE(m_rect, QRect(QPoint(), screenSize));
    }
    void cleanup()
    {
        m_uploads.reset();
        m_wall.reset();
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void anIdealCameraMakesTheWallEven()
    {
        QVERIFY(measure(Simulator::Camera()));
        const Reports before = reports();
        QVERIFY2(worst(before, &Report::luminanceDeviation) > 0.05, described(before));
        QVERIFY2(worst(before, &Report::differenceMedian) > 3, described(before));
        QVERIFY(write());
        const Reports after = reports();
        QVERIFY2(isAsMeant(after), described(after));
    }

    void aSensorMakesTheWallEven()
    {
        QVERIFY(measure(sensor(), sensorInterval()));
        const Target target = m_target;
        QVERIFY(write());
        const Reports exact = reports();
        QVERIFY2(worst(exact, &Report::luminanceDeviation) < 0.003, described(exact));
        QVERIFY2(worst(exact, &Report::differenceMedian) < 0.5, described(exact));
        // The camera sees the same, with its noise.
        QVERIFY(measure(sensor(), sensorInterval()));
        const Reports seen = reportsOf(m_measurement, target);
        QVERIFY2(worst(seen, &Report::luminanceDeviation) < 0.003, described(seen));
        QVERIFY2(worst(seen, &Report::differenceMedian) < 0.5, described(seen));
    }

    void anIntervalForTheCameraAloneIsTooSmall()
    {
        QVERIFY(measure(sensor(), Plan::intervalFor(sensor().blur)) && write());
        const Reports after = reports();
        QVERIFY2(worst(after, &Report::luminanceDeviation) > 0.01, described(after));
    }

    void rowsAndColumnsSwappedAreFound()
    {
        m_uploads->change = [](const QString &, int, Values &values) {
            for (int pixel = 0; pixel < values.size(); pixel += 9) {
                for (const auto &each : {std::make_pair(1, 3), std::make_pair(2, 6), std::make_pair(5, 7)})
                    std::swap(values[pixel + each.first], values[pixel + each.second]);
            }
        };
        QVERIFY(measure(Simulator::Camera()) && write());
        const Reports after = reports();
        // The colours of all four inputs; the luminance of green and white is within 2 %.
        for (const Report &report : after)
            QVERIFY2(report.differenceMedian > 3, described(after));
    }

    void aDeviceShiftedByAPixelIsFound()
    {
        m_uploads->change = [](const QString &deviceKey, int width, Values &values) {
            // To the right, in each cabinet; the first column stays.
            for (int row = 0; deviceKey == rightKey && row < values.size(); row += 9 * width)
                std::copy_backward(values.begin() + row, values.begin() + row + 9 * (width - 1),
                                   values.begin() + row + 9 * width);
        };
        QVERIFY(measure(Simulator::Camera()) && write());
        const Reports left = reports(leftPart);
        const Reports right = reports(rightPart);
        QVERIFY2(isAsMeant(left), described(left));
        for (const Report &report : right)
            QVERIFY2(report.luminanceDeviation > 0.03, described(right));
    }

    void redAndBlueExchangedAreFound()
    {
        m_uploads->change = [](const QString &, int, Values &values) {
            for (int pixel = 0; pixel < values.size(); pixel += 9) // in rows and columns
                std::reverse(values.begin() + pixel, values.begin() + pixel + 9);
        };
        QVERIFY(measure(Simulator::Camera()) && write());
        const Reports after = reports();
        // Luminance and colour of red and blue; the luminance of green is within 2 %.
        for (const Input input : {Input::Red, Input::Blue}) {
            const Report &report = after[static_cast<std::size_t>(input)];
            QVERIFY2(report.luminanceDeviation > 0.05 && report.differenceMedian > 5, described(after));
        }
    }

    void agreesWithNumPy()
    {
        const QTemporaryDir temporary;
        const QDir folder(temporary.path());
        const QByteArray file = Simulator::wallToJson(unevenWall());
        QVERIFY(!file.contains("\"grid\""));
        QVERIFY(writeFile(folder.filePath(QStringLiteral("wall.json")), file));

        QJsonArray photos;
        QJsonArray reported;
        const auto take = [&](const QString &name, const Simulator::Camera &camera) {
            QJsonObject photo = PhotoFiles::written(folder, name, m_wall->pictures().photograph(screenId, camera), camera);
            photo.insert(QStringLiteral("calls"), m_wall->journal().calls().last().number);
            photos += photo;
        };
        Simulator::Camera coarse = sensor();
        coarse.photosites = 2;
        QVERIFY(measure(Simulator::Camera()));
        const Plan plan(m_rect, 2);
        const auto takeAll = [&](const QString &moment) {
            for (const Input input : inputs) {
                const QString name = moment + QLatin1Char('-') + nameOf(input);
                const Report report = reportOf(shown(input), m_target, input, seams);
                take(name, Simulator::Camera());
                reported += QJsonObject{{QStringLiteral("photo"), name + QStringLiteral(".npy")},
                                        {QStringLiteral("input"), nameOf(input)},
                                        {QStringLiteral("pixels"), report.pixels},
                                        {QStringLiteral("luminanceMean"), report.luminanceMean},
                                        {QStringLiteral("luminanceDeviation"), report.luminanceDeviation},
                                        {QStringLiteral("luminanceLeast"), report.luminanceLeast},
                                        {QStringLiteral("luminanceGreatest"), report.luminanceGreatest},
                                        {QStringLiteral("differenceMedian"), report.differenceMedian},
                                        {QStringLiteral("difference95"), report.difference95},
                                        {QStringLiteral("differenceWorst"), report.differenceWorst}};
            }
            QCOMPARE(m_screen->setPixelImage(plan.shots()[13].image), Correction::enSuccess); // green, from 1, 1 on
            take(moment + QStringLiteral("-phase"), Simulator::Camera());
            take(moment + QStringLiteral("-sensor"), coarse);
        };
        takeAll(QStringLiteral("before"));
        QVERIFY(write());
        takeAll(QStringLiteral("after"));

        QJsonArray target;
        for (const double value : m_target.light)
            target += value;
        const QJsonObject loop{{QStringLiteral("unit"), defaultUnit},
                               {QStringLiteral("target"), target},
                               {QStringLiteral("photos"), photos},
                               {QStringLiteral("reports"), reported}};
        const QString loopFile = folder.filePath(QStringLiteral("loop.json"));
        const QString callsFile = folder.filePath(QStringLiteral("calls.jsonl"));
        QVERIFY(writeFile(loopFile, QJsonDocument(loop).toJson()));
        QVERIFY(m_wall->journal().save(callsFile));

        TestSupport::PythonCheck check(QStringLiteral(SOURCE_DIR "/tests/calibration/check_loop.py"),
                                       {QStringLiteral(SOURCE_DIR "/docs/light.md"), temporary.path()});
        const int good = check.run();
        QVERIFY2(good == 0, check.output());
        QVERIFY2(check.output().contains("12 photographs, 8 reports, 2048 pixels written, 0 problems"), check.output());

        // It notices other LEDs, an upload that did not arrive, other test images, a photograph that is not the wall's, and
        // other figures.
        const auto exchanged = [](QByteArray &bytes, const char *one, const char *other) {
            bytes.replace(one, "?").replace(other, one).replace("?", other);
        };
        QVERIFY2(check.notices(folder.filePath(QStringLiteral("wall.json")),
                               [](QByteArray &bytes) { bytes.replace("\"mixed\"", "\"fresh\""); }),
                 check.output());
        QVERIFY2(check.notices(callsFile,
                               [](QByteArray &bytes) {
                                   const int at = bytes.indexOf("Correctionop::uploadCoefficientAsync");
                                   bytes.insert(at < 0 ? bytes.size() : at, '-');
                               }),
                 check.output());
        QVERIFY2(check.notices(callsFile, [&](QByteArray &bytes) { exchanged(bytes, "\"r\"", "\"b\""); }), check.output());
        QVERIFY2(check.notices(folder.filePath(QStringLiteral("after-green.npy")),
                               [](QByteArray &bytes) { bytes.remove(128, 12).append(bytes.right(12)); }),
                 check.output());
        for (const char *const figure : {"luminanceDeviation", "differenceMedian", "difference95"}) {
            QVERIFY2(check.notices(loopFile,
                                   [&](QByteArray &bytes) {
                                       const QByteArray key = '"' + QByteArray(figure) + "\": ";
                                       const int at = bytes.lastIndexOf(key);
                                       bytes.insert(at < 0 ? bytes.size() : at + key.size(), '1');
                                   }),
                     check.output());
        }
        QCOMPARE(check.run(), 0);
    }

private:
    /// What the wall shows for an input, exactly. NaN outside of `part`.
    LightImage shown(Input input, const QRect &part = QRect(QPoint(), screenSize))
    {
        static const Qt::GlobalColor colours[] = {Qt::red, Qt::green, Qt::blue, Qt::white};
        Correction::DrawingParameter image;
        image.screenPartRect = m_rect;
        image.pixelBlockInRect = QRect(0, 0, 1, 1);
        image.color = colours[static_cast<int>(input)];
        image.pixelBlockIntervalX = 0;
        image.pixelBlockIntervalY = 0;
        if (m_screen->setPixelImage(image) != Correction::enSuccess)
            return LightImage();
        LightImage light = lightOf(m_wall->pictures().photograph(screenId));
        for (int i = 0; i < light.xyz.size(); ++i) {
            if (!part.contains(i / 3 % light.size.width(), i / 3 / light.size.width()))
                light.xyz[i] = std::numeric_limits<float>::quiet_NaN();
        }
        return light;
    }

    Reports reports(const QRect &part = QRect(QPoint(), screenSize))
    {
        Reports reports;
        for (const Input input : inputs)
            reports[static_cast<std::size_t>(input)] = reportOf(shown(input, part), m_target, input, seams);
        return reports;
    }

    bool isAsMeant(const Reports &reports)
    {
        return reports[0].pixels > 0 && worst(reports, &Report::luminanceDeviation) < 0.0005
               && worst(reports, &Report::differenceMedian) < 0.05;
    }

    /// Measures the wall, and chooses the target that all of its pixels reach.
    bool measure(const Simulator::Camera &camera, int interval = 0)
    {
        const bool isIdeal = camera.photosites == 0;
        const Plan plan(m_rect, interval);
        m_measurement = Measurement(m_rect.size());
        for (int i = 0; i < plan.shots().size(); ++i) {
            Simulator::Camera exposed = camera;
            exposed.seed += quint64(i);
            if (m_screen->setPixelImage(plan.shots()[i].image) != Correction::enSuccess)
                return false;
            const Simulator::Photo photo = m_wall->pictures().photograph(screenId, exposed);
            const auto taken = isIdeal ? plan.takeApart(i, lightOf(photo), m_measurement)
                                       : plan.takeApart(i, lightOf(photo), transformOf(photo.homography), m_measurement);
            if (taken != Correction::enSuccess)
                return false;
        }
        const Primaries primaries = commonPrimaries(m_measurement);
        m_target = targetOf(primaries, Reach(m_measurement, primaries).luminanceFor());
        return m_target.isValid() && m_measurement.markDead() == 0;
    }

    /// Writes the coefficients for the measurement and the target.
    bool write()
    {
        Correction::Coefficient grid(screenSize.width(), screenSize.height());
        Summary summary;
        return calculate(m_measurement, m_target, grid, defaultUnit, &summary) == Correction::enSuccess
               && summary.corrected == screenSize.width() * screenSize.height()
               && m_screen->setCoefficients(m_rect, grid) == Correction::enSuccess;
    }

    std::optional<TestSupport::LogCapture> m_log;
    std::optional<Simulator::VirtualWall> m_wall;
    std::optional<Uploads> m_uploads;
    Correction::IScreen *m_screen = nullptr;
    QRect m_rect;
    Measurement m_measurement;
    Target m_target;
};

QTEST_GUILESS_MAIN(tst_CalibrationLoop)
#include "tst_calibrationloop.moc"
