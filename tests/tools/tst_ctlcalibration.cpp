#include "Program.h"

#include <QtCore/QtEndian>
#include <QtGui/QImage>
#include <QtTest/QtTest>

#include <cmath>
#include <limits>

using namespace TestSupport;

namespace {

constexpr int columns = 32;
constexpr int rows = 16;
constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

/// A `.npy` file of light, made without the program.
QByteArray npy(int width, int height, int length, const QVector<float> &values)
{
    QByteArray header = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + QByteArray::number(height) + ", "
                        + QByteArray::number(width) + ", " + QByteArray::number(length) + "), }";
    header = header.leftJustified(117, ' ') + '\n';
    QByteArray bytes = QByteArray("\x93NUMPY\x01\x00", 8) + char(header.size()) + '\0' + header;
    for (const float value : values) {
        char four[4];
        qToLittleEndian(value, four);
        bytes.append(four, 4);
    }
    return bytes;
}

/// The numbers behind the header.
template <typename Number>
QVector<Number> valuesOf(const QByteArray &file)
{
    QVector<Number> values;
    for (int at = 10 + quint8(file[8]) + 256 * quint8(file[9]); at + int(sizeof(Number)) <= file.size();
         at += int(sizeof(Number)))
        values.append(qFromLittleEndian<Number>(file.constData() + at));
    return values;
}

/// A figure of the last file of a report.
double figure(const Run &report, const char *name, int input = 0)
{
    return report.data()
        .value(QStringLiteral("files"))
        .toArray()
        .last()
        .toObject()
        .value(QStringLiteral("figures"))
        .toArray()
        .at(input)
        .toObject()
        .value(QLatin1String(name))
        .toDouble(-1);
}

} // namespace

/// From the light of an uneven wall to coefficients, and back: each step a process, and files between them.
class CtlCalibrationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void anUnevenWallBecomesEven_data();
    void anUnevenWallBecomesEven();
    void keptPhotosGiveTheSameMeasurement_data();
    void keptPhotosGiveTheSameMeasurement();
    void aPlanTellsHowToShowItsImages();
    void aRealCamerasPhotosAreMeasured();
    void theWallIsPutBack();
    void aRefusedTestImageIsNamed();
    void holesAndDeadPixelsAreLeftAlone();
    void aGapBetweenCabinetsIsAHole();
    void onlyTheChosenDeviceIsMeasured();
    void aTargetServesAnotherScreen();
    void targetsAreChosen_data();
    void targetsAreChosen();
    void whatFallsShortIsTold();
    void limitsMakeAReportFail();
    void aPixelThatBecameDarkCounts();
    void lightOfOneInputIsReported();
    void picturesAreDrawn();
    void whatIsWrongIsSaid_data();
    void whatIsWrongIsSaid();
    void aFullDiskIsTold_data();
    void aFullDiskIsTold();

private:
    bool runs(const QString &line) const;
    QVector<float> measured(const char *name = "measured.npy") const
    {
        return valuesOf<float>(m_program.content(QLatin1String(name)));
    }
    bool writeMeasured(const char *name, const QVector<float> &values) const
    {
        return m_program.write(QLatin1String(name), npy(columns, rows, 9, values));
    }

    Program m_program;
};

bool CtlCalibrationTest::runs(const QString &line) const
{
    const Run run = m_program.run(line.split(QLatin1Char(' ')));
    if (run.exit != 0)
        qWarning("%s: %s", qPrintable(line), run.all().constData());
    return run.exit == 0;
}

void CtlCalibrationTest::initTestCase()
{
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/uneven.json"),
                        m_program.path(QStringLiteral("uneven.json"))));
    QVERIFY(runs(QStringLiteral("--wall uneven.json measure main measured.npy")));
    QCOMPARE(measured().size(), columns * rows * 9);
}

void CtlCalibrationTest::anUnevenWallBecomesEven_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<double>("deviation"); // percent
    QTest::addColumn<double>("difference");
    QTest::addColumn<bool>("isWithin");
    QTest::newRow("ideal") << QString() << 0.05 << 0.05 << true;
    QTest::newRow("sensor") << QStringLiteral(" --camera sensor") << 0.3 << 0.5 << true;
    QTest::newRow("sensor, tilted view") << QStringLiteral(" --camera sensor --tilt 0.02") << 0.3 << 0.5 << true;
    QTest::newRow("sensor, dark pixels too narrow")
        << QStringLiteral(" --camera sensor --interval 1") << 0.6 << 0.6 << false;
    QTest::newRow("sensor, full fields") << QStringLiteral(" --camera sensor --full-field") << 1.0 << 1.0 << false;
}

/// Judged by an ideal camera, whatever the wall was measured with.
void CtlCalibrationTest::anUnevenWallBecomesEven()
{
    QFETCH(QString, camera);
    QFETCH(double, deviation);
    QFETCH(double, difference);
    QFETCH(bool, isWithin);
    QVERIFY(runs(QStringLiteral("--wall uneven.json wall create wall")));
    QVERIFY(runs(QStringLiteral("--wall wall measure main seen.npy") + camera));
    QVERIFY(runs(QStringLiteral("calibrate seen.npy corrected.npy --keep-target target.json")));
    QVERIFY(runs(QStringLiteral("--wall wall write main corrected.npy --save")));
    QVERIFY(runs(QStringLiteral("--wall wall measure main after.npy")));
    const Run before = m_program.json("report measured.npy --target target.json --input white --seams 8x8");
    QVERIFY2(figure(before, "luminanceDeviation") > 0.05 && figure(before, "differenceMedian") > 2
                 && figure(before, "seamWorst") > 0.1,
             before.all());
    const Run after = m_program.json("report measured.npy after.npy --target target.json --input white --seams 8x8");
    QVERIFY2(after.exit == 0, after.all());
    QCOMPARE(figure(after, "pixels"), double(columns * rows));
    QVERIFY2((100 * figure(after, "luminanceDeviation") < deviation) == isWithin, after.all());
    QVERIFY2((figure(after, "differenceMedian") < difference) == isWithin, after.all());
    QVERIFY2(!isWithin || 100 * figure(after, "seamWorst") < 2 * deviation, after.all());
    QVERIFY(QDir(m_program.path(QStringLiteral("wall"))).removeRecursively());
}

void CtlCalibrationTest::keptPhotosGiveTheSameMeasurement_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("photos");
    QTest::newRow("ideal") << QString() << 3;
    QTest::newRow("ideal, one device") << QStringLiteral(" --device B") << 3;
    QTest::newRow("sensor") << QStringLiteral(" --camera sensor --bits 12 --seed 5") << 27;
    QTest::newRow("sensor, tilted view, one device") << QStringLiteral(" --camera sensor --tilt 0.05 --device B") << 27;
    QTest::newRow("sensor, wide spread") << QStringLiteral(" --camera sensor --blur 0.8 --photosites 3") << 48;
    QTest::newRow("full field") << QStringLiteral(" --camera sensor --full-field") << 3;
}

void CtlCalibrationTest::keptPhotosGiveTheSameMeasurement()
{
    QFETCH(QString, options);
    QFETCH(int, photos);
    const Run seen = m_program.json(
        QStringLiteral("--wall uneven.json measure main seen.npy --photos photos%1").arg(options).split(QLatin1Char(' ')));
    QVERIFY2(seen.exit == 0, seen.all());
    QCOMPARE(seen.data().value(QStringLiteral("shots")).toInt(), photos);
    QDir folder(m_program.path(QStringLiteral("photos")));
    QCOMPARE(folder.entryList({QStringLiteral("*.npy")}).size(), photos);
    QVERIFY(runs(QStringLiteral("measure --from photos again.npy")));
    QVERIFY(measured("seen.npy").size() > 0);
    QCOMPARE(m_program.content(QStringLiteral("again.npy")), m_program.content(QStringLiteral("seen.npy")));
    QVERIFY(folder.removeRecursively());
}

void CtlCalibrationTest::aPlanTellsHowToShowItsImages()
{
    const Run plan = m_program.run("--wall uneven.json measure main --plan shots --interval 1");
    QVERIFY2(plan.exit == 0, plan.all());
    QStringList commands;
    const QStringList lines = QString::fromUtf8(plan.out).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.contains(QLatin1String("correctionctl pattern pixel")))
            commands.append(line.section(QStringLiteral("correctionctl "), 1));
    }
    QCOMPARE(commands.size(), 12);
    QCOMPARE(commands[6],
             QStringLiteral("pattern pixel main --rect 0,1,32x15 --interval-x 1 --interval-y 1 --color #00ff00"));
    for (const QString &command : qAsConst(commands))
        QVERIFY(runs(QStringLiteral("--wall uneven.json ") + command));
    const QJsonObject file = QJsonDocument::fromJson(m_program.content(QStringLiteral("shots/plan.json"))).object();
    QCOMPARE(file.value(QStringLiteral("interval")).toInt(), 1);
    QCOMPARE(file.value(QStringLiteral("shots")).toArray().size(), 12);
    const Run measured = m_program.run("measure --from shots never.npy");
    QCOMPARE(measured.exit, 66);
    QVERIFY2(measured.error.contains("shots: 12 of 12 photos missing: red-0-0.npy, red-1-0.npy"), measured.all());
    QVERIFY(!m_program.exists(QStringLiteral("never.npy")));
    QVERIFY(QDir(m_program.path(QStringLiteral("shots"))).removeRecursively());
}

/// A photo of 2 x 2 photosites a pixel with a border of one pixel, made here: each lit pixel is a square of light.
void CtlCalibrationTest::aRealCamerasPhotosAreMeasured()
{
    QVERIFY(runs(QStringLiteral("--wall uneven.json measure main --plan shots --interval 1")));
    QJsonObject plan = QJsonDocument::fromJson(m_program.content(QStringLiteral("shots/plan.json"))).object();
    plan.insert(QStringLiteral("homography"), QJsonArray{2, 0, 2, 0, 2, 2, 0, 0, 1});
    QVERIFY(m_program.write(QStringLiteral("shots/plan.json"), QJsonDocument(plan).toJson()));
    constexpr int width = 2 * columns + 4;
    constexpr int height = 2 * rows + 4;
    const auto light = [](int led, int i, int x, int y) {
        return float((led + 1) * 100 + 30 * ((i + led) % 3) + x + 2 * y);
    };
    const QJsonArray shots = plan.value(QStringLiteral("shots")).toArray();
    for (const QJsonValue &value : shots) {
        const QJsonObject shot = value.toObject();
        const int led = QStringList{QStringLiteral("red"), QStringLiteral("green"), QStringLiteral("blue")}.indexOf(
            shot.value(QStringLiteral("led")).toString());
        QVector<float> xyz(width * height * 3);
        for (int y = shot.value(QStringLiteral("y")).toInt(); y < rows; y += 2) {
            for (int x = shot.value(QStringLiteral("x")).toInt(); x < columns; x += 2) {
                for (int i = 0; i < 12; ++i) {
                    const int u = 2 * x + 2 + i / 3 % 2;
                    const int v = 2 * y + 2 + i / 6;
                    xyz[(v * width + u) * 3 + i % 3] = light(led, i % 3, x, y);
                }
            }
        }
        QVERIFY(m_program.write(QStringLiteral("shots/") + shot.value(QStringLiteral("file")).toString(),
                                npy(width, height, 3, xyz)));
    }
    QVERIFY(runs(QStringLiteral("measure --from shots real.npy")));
    const QVector<float> values = measured("real.npy");
    QCOMPARE(values.size(), columns * rows * 9);
    for (int i = 0; i < values.size(); ++i) {
        const float expected = light(i % 9 / 3, i % 3, i / 9 % columns, i / 9 / columns);
        QVERIFY2(std::abs(values[i] - expected) < 1e-3f * expected,
                 qPrintable(QStringLiteral("%1: %2 instead of %3").arg(i).arg(double(values[i])).arg(double(expected))));
    }
    // Another size than that of the first photo is an error.
    QVERIFY(m_program.write(QStringLiteral("shots/blue-1-1.npy"), npy(2, 1, 3, QVector<float>(6))));
    const Run other = m_program.run("measure --from shots never.npy");
    QVERIFY2(other.exit == 65 && other.error.contains("blue-1-1.npy: 2x1 photosites; the first photo has 68x36"),
             other.all());
    QVERIFY(QDir(m_program.path(QStringLiteral("shots"))).removeRecursively());
}

void CtlCalibrationTest::theWallIsPutBack()
{
    const Run run = m_program.run("--wall uneven.json record calls.jsonl measure main seen.npy");
    QVERIFY2(run.exit == 0 && !run.out.contains("not kept"), run.all());
    QStringList patterns;
    const QList<QByteArray> lines = m_program.content(QStringLiteral("calls.jsonl")).split('\n');
    for (const QByteArray &line : lines) {
        const QString operation = QJsonDocument::fromJson(line).object().value(QStringLiteral("operation")).toString();
        if (operation.contains(QLatin1String("Image")))
            patterns.append(operation);
    }
    QCOMPARE(patterns.filter(QStringLiteral("setPixelImage")).size(), 6); // three colours, two devices
    QCOMPARE(patterns.mid(6), QStringList({QStringLiteral("ScreenInfo::setCorrectClearImage"),
                                           QStringLiteral("ScreenInfo::setCorrectClearImage")}));
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("calls.jsonl"))));
}

void CtlCalibrationTest::aRefusedTestImageIsNamed()
{
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("uneven.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    QJsonObject device = devices.at(1).toObject();
    device.insert(QStringLiteral("faults"),
                  QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("noAnswer")},
                                         {QStringLiteral("operation"), QStringLiteral("ScreenInfo::setPixelImage")}}});
    devices.replace(1, device);
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(QStringLiteral("refuses.json"), QJsonDocument(wall).toJson()));
    const Run run = m_program.run("--wall refuses.json record calls.jsonl measure main never.npy");
    QVERIFY2(run.exit != 0 && run.error.contains("showing the test image red-0-0") && run.error.contains("device B refused"),
             run.all());
    QVERIFY(!m_program.exists(QStringLiteral("never.npy")));
    QVERIFY(m_program.content(QStringLiteral("calls.jsonl")).contains("setCorrectClearImage"));
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("calls.jsonl"))));
}

void CtlCalibrationTest::holesAndDeadPixelsAreLeftAlone()
{
    QVector<float> values = measured();
    std::fill_n(values.begin() + 9 * 5, 9, unknown);   // a hole
    values[9 * 40 + 2] = unknown;                      // one value is not known
    std::fill_n(values.begin() + 9 * 100 + 3, 3, 0.f); // no green
    values[9 * 200 + 7] = std::numeric_limits<float>::infinity();
    QVERIFY(writeMeasured("holes.npy", values));
    const Run run = m_program.json("calibrate holes.npy corrected.npy");
    QVERIFY2(run.exit == 0, run.all());
    QCOMPARE(run.data().value(QStringLiteral("pixels")).toObject(),
             (QJsonObject{{QStringLiteral("live"), 508}, {QStringLiteral("dead"), 3}, {QStringLiteral("holes"), 1}}));
    QCOMPARE(run.data().value(QStringLiteral("corrected")).toInt(), 508);
    QCOMPARE(run.data().value(QStringLiteral("leftAlone")).toInt(), 4);
    const QJsonObject warning = run.document().value(QStringLiteral("warnings")).toArray().first().toObject();
    QCOMPARE(warning.value(QStringLiteral("kind")).toString(), QStringLiteral("deadPixels"));
    QCOMPARE(warning.value(QStringLiteral("message")).toString(),
             QStringLiteral("3 pixels without light or without a known value, at 8,1; 4,3; 8,6"));
    const QVector<quint16> coefficients = valuesOf<quint16>(m_program.content(QStringLiteral("corrected.npy")));
    QCOMPARE(coefficients.size(), columns * rows * 9);
    const QVector<quint16> unit{32768, 0, 0, 0, 32768, 0, 0, 0, 32768};
    for (const int pixel : {5, 40, 100, 200})
        QCOMPARE(coefficients.mid(9 * pixel, 9), unit);
    QVERIFY(coefficients.mid(9 * 6, 9) != unit);
    const Run text = m_program.run("calibrate holes.npy");
    QVERIFY2(text.error.contains("warning: 3 pixels without light"), text.all());
}

void CtlCalibrationTest::aGapBetweenCabinetsIsAHole()
{
    QByteArray wall = m_program.content(QStringLiteral("uneven.json"));
    const int at = wall.lastIndexOf("\"rows\": 2");
    QVERIFY(m_program.write(QStringLiteral("gap.json"), wall.replace(at, 9, "\"rows\": 1")));
    const Run run = m_program.json("--wall gap.json measure main gap.npy");
    QVERIFY2(run.exit == 0, run.all());
    QCOMPARE(run.data().value(QStringLiteral("pixels")).toObject(),
             (QJsonObject{{QStringLiteral("live"), 384}, {QStringLiteral("dead"), 0}, {QStringLiteral("holes"), 128}}));
    QVERIFY(std::isnan(measured("gap.npy").last()));
    const Run again = m_program.json("calibrate gap.npy");
    QCOMPARE(again.data().value(QStringLiteral("pixels")), run.data().value(QStringLiteral("pixels")));
    QCOMPARE(again.document().value(QStringLiteral("warnings")).toArray().size(), 0);
}

void CtlCalibrationTest::onlyTheChosenDeviceIsMeasured()
{
    QVERIFY(runs(QStringLiteral("--wall uneven.json measure main right.npy --device B")));
    const QVector<float> part = measured("right.npy");
    const QVector<float> all = measured();
    QCOMPARE(part.size(), 16 * rows * 9);
    for (int y = 0; y < rows; ++y)
        QCOMPARE(part.mid(y * 16 * 9, 16 * 9), all.mid((y * columns + 16) * 9, 16 * 9));
}

void CtlCalibrationTest::aTargetServesAnotherScreen()
{
    QVERIFY(runs(QStringLiteral("calibrate measured.npy first.npy --keep-target target.json")));
    QVERIFY(runs(QStringLiteral("calibrate measured.npy second.npy --target target.json")));
    QCOMPARE(m_program.content(QStringLiteral("second.npy")), m_program.content(QStringLiteral("first.npy")));
    const Run other = m_program.run("calibrate measured.npy --target target.json --luminance 5");
    QVERIFY2(other.exit == 64 && other.error.contains("--luminance has no effect on the target of the file target.json"),
             other.all());
}

void CtlCalibrationTest::targetsAreChosen_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<double>("greenX"); // below 0: any
    QTest::addColumn<double>("whiteX");
    QTest::addColumn<double>("luminance");
    const auto row = [](const char *options, double greenX, double whiteX, double luminance) {
        QTest::newRow(options) << QString::fromLatin1(options) << greenX << whiteX << luminance;
    };
    row("--target srgb", 0.30, 0.3127, -1);
    row("--target rec709 --luminance 200", 0.30, 0.3127, 200);
    row("--target dci-p3", 0.265, 0.314, -1);
    row("--target rec2020 --luminance 100", 0.170, 0.3127, 100);
    row("--target srgb --white 0.3,0.31", 0.30, 0.3, -1);
    row("--luminance 123.5", -1, -1, 123.5);
    row("--white 0.3127,0.329 --luminance 99", -1, 0.3127, 99);
}

void CtlCalibrationTest::targetsAreChosen()
{
    QFETCH(QString, options);
    QFETCH(double, greenX);
    QFETCH(double, whiteX);
    QFETCH(double, luminance);
    const Run run = m_program.json(words("calibrate measured.npy --unit 16384") + options.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 0, run.all());
    const QJsonObject target = run.data().value(QStringLiteral("target")).toObject();
    const auto value = [&target](const char *input, const char *name) {
        return target.value(QLatin1String(input)).toObject().value(QLatin1String(name)).toDouble();
    };
    QVERIFY2(greenX < 0 || std::abs(value("green", "x") - greenX) < 1e-9, run.all());
    QVERIFY2(whiteX < 0 || std::abs(value("white", "x") - whiteX) < 1e-9, run.all());
    QVERIFY2(luminance < 0 || std::abs(value("white", "luminance") - luminance) < 1e-9, run.all());
    QCOMPARE(run.data().value(QStringLiteral("unit")).toInt(), 16384);
}

void CtlCalibrationTest::whatFallsShortIsTold()
{
    const Run run = m_program.run("calibrate measured.npy --luminance 100000");
    QVERIFY2(run.exit == 0 && run.error.contains("warning: 512 of 512 pixels do not reach 100000.0 cd/m2 of white"),
             run.all());
    const Run json = m_program.json("calibrate measured.npy --luminance 100000");
    QCOMPARE(json.data().value(QStringLiteral("fallingShort")).toInt(), 512);
    QVERIFY(json.data().value(QStringLiteral("clipped")).toInt() > 500);
    const QJsonObject warning = json.document().value(QStringLiteral("warnings")).toArray().first().toObject();
    QCOMPARE(warning.value(QStringLiteral("kind")).toString(), QStringLiteral("targetNotReached"));
    const Run good = m_program.json("calibrate measured.npy --share 0");
    QCOMPARE(good.data().value(QStringLiteral("fallingShort")).toInt(), 0);
    QCOMPARE(good.document().value(QStringLiteral("warnings")).toArray().size(), 0);
}

void CtlCalibrationTest::limitsMakeAReportFail()
{
    const Run failed = m_program.json("report measured.npy --input white --within 1,50");
    QCOMPARE(failed.exit, 20);
    QVERIFY2(failed.document()
                 .value(QStringLiteral("message"))
                 .toString()
                 .contains(QLatin1String("measured.npy: white: the deviation of the luminance in % is ")),
             failed.all());
    QVERIFY(figure(failed, "luminanceDeviation") > 0.01);
    QCOMPARE(m_program.run("report measured.npy --input white --within 50,0.001").exit, 20);
    QCOMPARE(m_program.run("report measured.npy --input white --within 50,50").exit, 0);
    // The limits are for the last file.
    QVERIFY(writeMeasured(
        "flat.npy", measured().mid(0, 9) + QVector<float>() + [this] {
            QVector<float> rest;
            for (int i = 1; i < columns * rows; ++i)
                rest += measured().mid(0, 9);
            return rest;
        }()));
    QCOMPARE(m_program.run("report measured.npy flat.npy --input white --within 0.001,50").exit, 0);
    QCOMPARE(m_program.run("report flat.npy measured.npy --input white --within 0.001,50").exit, 20);
}

/// A pixel that is dark in the second file only is a fault of the correction, not a dead one.
void CtlCalibrationTest::aPixelThatBecameDarkCounts()
{
    QVector<float> values = measured();
    std::fill_n(values.begin() + 9 * 77, 9, 0.f);
    QVERIFY(writeMeasured("dark.npy", values));
    const Run after = m_program.json("report measured.npy dark.npy --input white");
    QCOMPARE(figure(after, "pixels"), 512.0);
    QCOMPARE(figure(after, "luminanceLeast"), 0.0);
    QVERIFY(figure(after, "differenceWorst") > 50);
    const Run before = m_program.json("report dark.npy measured.npy --input white");
    QCOMPARE(figure(before, "pixels"), 511.0);
    QVERIFY(figure(before, "luminanceLeast") > 0);
}

void CtlCalibrationTest::lightOfOneInputIsReported()
{
    QVERIFY(runs(QStringLiteral("calibrate measured.npy first.npy --keep-target target.json")));
    QVERIFY(runs(QStringLiteral("--wall uneven.json measure main seen.npy --photos photos")));
    // A photo of full green is what the measurement has for green.
    const Run photo = m_program.json("report photos/green-0-0.npy --input green --target target.json");
    const Run whole = m_program.json("report measured.npy --input green --target target.json");
    QVERIFY2(photo.exit == 0 && whole.exit == 0, photo.all() + whole.all());
    QCOMPARE(figure(photo, "luminanceMean"), figure(whole, "luminanceMean"));
    QCOMPARE(figure(photo, "difference95"), figure(whole, "difference95"));
    QCOMPARE(m_program.json("report measured.npy")
                 .data()
                 .value(QStringLiteral("files"))
                 .toArray()
                 .first()
                 .toObject()
                 .value(QStringLiteral("figures"))
                 .toArray()
                 .size(),
             4);
    const Run without = m_program.run("report photos/green-0-0.npy --input green");
    QVERIFY2(without.exit == 64 && without.error.contains("needs a measurement as the first file"), without.all());
    QVERIFY(QDir(m_program.path(QStringLiteral("photos"))).removeRecursively());
}

void CtlCalibrationTest::picturesAreDrawn()
{
    QVERIFY(
        runs(QStringLiteral("--wall uneven.json measure main seen.npy --camera sensor --photosites 3 --picture white.png "
                            "--exposure 500")));
    const QImage photo(m_program.path(QStringLiteral("white.png")));
    QCOMPARE(photo.size(), QSize(3 * columns, 3 * rows));
    QVERIFY(qGray(photo.pixel(48, 24)) > 100);
    QVERIFY(runs(QStringLiteral("report measured.npy seen.npy --picture maps.png")));
    const QImage maps(m_program.path(QStringLiteral("maps.png")));
    QVERIFY(maps.width() > 2 * 240 && maps.height() > 2 * 120);
    QImage flat(maps.size(), maps.format());
    flat.fill(maps.pixel(0, 0));
    QVERIFY(maps != flat);
}

void CtlCalibrationTest::whatIsWrongIsSaid_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exit");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *arguments, int exit, const char *said) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << exit << QByteArray(said);
    };
    row("measure main", 64, "expected SCREEN and FILE");
    row("measure", 64, "expected SCREEN and FILE");
    row("measure main x.csv", 64, "x.csv: light is written as .npy");
    row("measure main nosuch/x.npy", 73, "nosuch/x.npy");
    row("measure nosuch x.npy", 68, "screen \"nosuch\": unknown");
    row("measure main x.npy --noise 0.1", 64, "--noise belongs to --camera sensor");
    row("measure main x.npy --camera sensor --noise much", 64, "--noise: expected a number from 0 to 1, got \"much\"");
    row("measure main x.npy --camera sensor --noise nan", 64, "--noise: expected a number from 0 to 1");
    row("measure main x.npy --camera sensor --blur 17", 64, "--blur: expected a number from 0 to 16");
    row("measure main x.npy --camera eye", 64, "expected ideal or sensor");
    row("measure main x.npy --exposure 5", 64, "--exposure belongs to --picture");
    row("measure main x.npy --picture x.tif", 64, "expected a .png");
    row("measure main x.npy --full-field --interval 2", 64, "--full-field and --interval exclude each other");
    row("measure main x.npy --plan shots", 64, "--plan: expected SCREEN and no FILE");
    row("measure main --plan shots --camera sensor", 64, "--camera has no effect with --plan");
    row("measure main x.npy --from shots", 64, "--from: expected FILE and no SCREEN");
    row("measure --from shots", 64, "--from: expected FILE");
    row("measure --from shots x.npy --full-field", 64, "--full-field has no effect with --from");
    row("measure --from nosuch x.npy", 66, "nosuch/plan.json");
    row("measure --from broken x.npy", 65,
        "broken/plan.json: shots[1]: expected the light and the first pixel of green-0-0");
    row("measure --from short x.npy", 65, "short/plan.json: homography: expected 9 numbers, got 2");
    row("measure --from few x.npy", 65, "few/plan.json: 1 shots; an interval of 0 on 32x16 pixels takes 3");
    row("measure --from flat x.npy", 3, "red-0-0.npy: taking the photo of 32x16 pixels apart");
    row("calibrate nosuch.npy", 66, "nosuch.npy");
    row("calibrate image.npy", 65, "image.npy: 3 values for each pixel; expected 9");
    row("calibrate five.npy", 65, "five.npy: 5 values for each pixel; light has 3");
    row("calibrate cut.npy", 65, "cut.npy: cut short");
    row("calibrate whole.npy", 65, "whole.npy: values of the type '<u2'; light is X, Y, Z in cd/m2");
    row("calibrate dark.npy", 65, "dark.npy: no pixel shines in red, green and blue");
    row("calibrate unknown.npy", 65, "unknown.npy: no pixel shines in red, green and blue");
    row("calibrate measured.npy x.txt", 64, "x.txt: files of coefficients end in");
    row("calibrate measured.npy --share 2", 64, "--share: expected a number from 0 to 1");
    row("calibrate measured.npy --white 0.3", 64, "--white: expected two numbers");
    row("calibrate measured.npy --white 0.9,0.05", 64, "no target: white 0.9000, 0.0500");
    row("calibrate measured.npy --luminance 0", 64, "--luminance: expected a number from 0.001");
    row("calibrate measured.npy --target adobe", 66, "adobe");
    row("calibrate measured.npy --target gray.json", 65, "gray.json: its colours are not independent");
    row("calibrate measured.npy --unit 70000", 64, "--unit");
    row("report measured.npy small.npy", 65, "small.npy has 2x1 pixels, measured.npy has 32x16");
    row("report dark.npy", 65, "dark.npy: no pixel shines");
    row("report measured.npy --within 1", 64, "--within: expected two numbers");
    row("report measured.npy --within 1,-1", 64, "--within: expected two numbers");
    row("report measured.npy --input grey", 64, "expected red or green or blue or white");
    row("report measured.npy --seams 0x5", 64, "expected a size WxH");
    row("report measured.npy --picture x.csv", 64, "expected a .png");
}

void CtlCalibrationTest::whatIsWrongIsSaid()
{
    QFETCH(QString, arguments);
    QFETCH(int, exit);
    QFETCH(QByteArray, said);
    const auto plan = [this](const char *folder, const QByteArray &homography, const QByteArray &shots) {
        return m_program.folder().mkpath(QLatin1String(folder))
               && m_program.write(QLatin1String(folder) + QStringLiteral("/plan.json"),
                                  "{\"format\": \"correction-plan\", \"version\": 1, \"x\": 0, \"y\": 0, \"width\": 32, "
                                  "\"height\": 16, \"interval\": 0, "
                                      + homography + "\"shots\": [" + shots + "]}");
    };
    const auto shot = [](const QByteArray &led) {
        return "{\"led\": \"" + led + "\", \"x\": 0, \"y\": 0, \"file\": \"" + led + "-0-0.npy\"}";
    };
    const QByteArray all = shot("red") + ',' + shot("green") + ',' + shot("blue");
    QVERIFY(plan("broken", QByteArray(), shot("red") + ',' + shot("blue") + ',' + shot("green")));
    QVERIFY(plan("short", "\"homography\": [1, 2], ", all));
    QVERIFY(plan("few", QByteArray(), shot("red")));
    QVERIFY(plan("flat", "\"homography\": [0, 0, 0, 0, 0, 0, 0, 0, 1], ", all));
    for (const char *led : {"red", "green", "blue"})
        QVERIFY(m_program.write(QStringLiteral("flat/%1-0-0.npy").arg(QLatin1String(led)),
                                npy(columns, rows, 3, QVector<float>(columns * rows * 3, 1.f))));
    QVERIFY(m_program.write(QStringLiteral("image.npy"), npy(2, 1, 3, QVector<float>(6, 1.f))));
    QVERIFY(m_program.write(QStringLiteral("five.npy"), npy(2, 1, 5, QVector<float>(10, 1.f))));
    QVERIFY(m_program.write(QStringLiteral("small.npy"), npy(2, 1, 9, QVector<float>(18, 1.f))));
    QVERIFY(m_program.write(QStringLiteral("cut.npy"), npy(2, 1, 9, QVector<float>(17, 1.f))));
    QVERIFY(writeMeasured("dark.npy", QVector<float>(columns * rows * 9)));
    QVERIFY(writeMeasured("unknown.npy", QVector<float>(columns * rows * 9, unknown)));
    QVERIFY(m_program.write(QStringLiteral("gray.json"),
                            "{\"format\": \"correction-target\", \"version\": 1, \"red\": [1, 1, 1], "
                            "\"green\": [1, 1, 1], \"blue\": [1, 1, 1]}"));
    QVERIFY(runs(QStringLiteral("--wall uneven.json read main whole.npy")));
    const QStringList before = m_program.files();
    const Run run = m_program.run(words("--wall uneven.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == exit && run.error.contains(said), run.all());
    QCOMPARE(m_program.files(), before);
}

void CtlCalibrationTest::aFullDiskIsTold_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("measure") << QStringLiteral("measure main never.npy") << QByteArray("never.npy");
    QTest::newRow("photos") << QStringLiteral("measure main never.npy --photos photos") << QByteArray("photos/red-0-0.npy");
    QTest::newRow("calibrate") << QStringLiteral("calibrate measured.npy never.npy") << QByteArray("never.npy");
    QTest::newRow("report") << QStringLiteral("report measured.npy --picture never.png") << QByteArray("never.png");
}

/// A limit on the size of files stands for the disk's: 512 bytes.
void CtlCalibrationTest::aFullDiskIsTold()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, file);
    QProcess process;
    process.setWorkingDirectory(m_program.path(QString()));
    process.start(
        QStringLiteral("sh"),
        {QStringLiteral("-c"), QStringLiteral("trap '' XFSZ; export GCOV_PREFIX=/dev/null GCOV_ERROR_FILE=/dev/null; ulimit "
                                              "-f 1; exec '%1' --wall uneven.json %2")
                                   .arg(QStringLiteral(CORRECTIONCTL), arguments)});
    QVERIFY(process.waitForFinished(-1));
    const QByteArray error = process.readAllStandardError();
    QVERIFY2(process.exitCode() == 73 && error.contains(file + ": File too large"), error);
    QVERIFY(!m_program.exists(QString::fromUtf8(file)));
    QDir(m_program.path(QStringLiteral("photos"))).removeRecursively();
}

QTEST_GUILESS_MAIN(CtlCalibrationTest)
#include "tst_ctlcalibration.moc"
