#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>

#include <QtTest/QtTest>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

using namespace Simulator;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

using MapOperation = bool (Correctionop::*)(const QString &, const QMap<QString, QVariant> &, QMap<QString, QVariant> &);
using RequestOperation = std::function<bool(const QVariant &)>;

namespace Sample {
enum SaveKind { Chroma, Multilayer, LowGray };
}
Q_DECLARE_METATYPE(MapOperation)
Q_DECLARE_METATYPE(RequestOperation)
Q_DECLARE_METATYPE(Sample::SaveKind)
Q_DECLARE_METATYPE(Simulator::Store)
Q_DECLARE_METATYPE(Simulator::Channel)

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Headers = QMap<QString, QString>;
using Promise = QtPromise::QPromise<bool>;

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString one = QStringLiteral("1");
const QString two = QStringLiteral("2");
const QString all = QStringLiteral("255");

/// A text with every single quote turned into a double one, for expected lines.
QString quoted(const char *text)
{
    return QString::fromLatin1(text).replace(QLatin1Char('\''), QLatin1Char('"'));
}

VirtualWall &wall()
{
    return VirtualWall::instance();
}

Correctionop &correction()
{
    return *Correctionop::getInstance();
}

CabinetInfoOperator &cabinets()
{
    return *CabinetInfoOperator::getInstance();
}

ScreenInfo &screens()
{
    return *ScreenInfo::getInstance();
}

Map map(std::initializer_list<std::pair<const char *, QVariant>> entries)
{
    Map result;
    for (const auto &entry : entries)
        result.insert(QString::fromLatin1(entry.first), entry.second);
    return result;
}

Map rectMap(int x, int y, int width, int height)
{
    return map({{"x", x}, {"y", y}, {"width", width}, {"height", height}});
}

Map colorMap(int red, int green, int blue)
{
    return map({{"r", red}, {"g", green}, {"b", blue}});
}

Map area(int x, int y, int width, int height)
{
    return map({{"size", map({{"height", height}, {"width", width}})}, {"point", map({{"x", x}, {"y", y}})}});
}

QString base64(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

List blockRequest(const QRect &rect, const QByteArray &bytes)
{
    return {map({{"area", area(rect.x(), rect.y(), rect.width(), rect.height())}, {"coefficients", base64(bytes)}})};
}

Map manyElement(const QVariant &cid, const QRect &rect, const QByteArray &bytes)
{
    const Map block = map({{"area", area(rect.x(), rect.y(), rect.width(), rect.height())}, {"coefficient", base64(bytes)}});
    return map({{"cid", cid}, {"coefficientList", List{block}}});
}

/// `pixels` pixels of 9 values, all `value`.
QByteArray chromaBytes(int pixels, quint16 value)
{
    QByteArray bytes;
    for (int i = 0; i < pixels * 9; ++i) {
        bytes += static_cast<char>(value & 0xff);
        bytes += static_cast<char>(value >> 8);
    }
    return bytes;
}

QVector<quint16> chromaValues(int pixels, quint16 value)
{
    return QVector<quint16>(pixels * 9, value);
}

Map cids(const List &ids)
{
    return map({{"cids", ids}});
}

QString lastNote()
{
    return wall().journal().calls().isEmpty() ? QStringLiteral("no call") : wall().journal().calls().last().note;
}

/// A value that a promise that is settled already was fulfilled with; empty when it is pending or rejected.
QVariant settledValue(const Promise &promise)
{
    QVariant result;
    promise.then([&result](bool value) { result = value; }, [] {}).wait();
    return result;
}

/// The picture as rows of letters: black is '.', the others are named by `letters`.
QStringList rows(const QImage &image, const QMap<QRgb, char> &letters)
{
    QStringList result;
    for (int y = 0; y < image.height(); ++y) {
        QString row;
        for (int x = 0; x < image.width(); ++x)
            row += QLatin1Char(image.pixel(x, y) == 0xff000000 ? '.' : letters.value(image.pixel(x, y), '?'));
        result += row;
    }
    return result;
}

/// Every copy of a request that is spoilt in one place: an entry more, an entry less, an entry of another type.
List spoilt(const QVariant &request)
{
    List result;
    if (request.userType() == QMetaType::QVariantList) {
        const List list = request.toList();
        for (int i = 0; i < list.size(); ++i) {
            const List elements = spoilt(list[i]);
            for (const QVariant &element : elements) {
                List copy = list;
                copy[i] = element;
                result.append(QVariant(copy));
            }
        }
    } else if (request.userType() == QMetaType::QVariantMap) {
        const Map whole = request.toMap();
        Map copy = whole;
        copy.insert(QStringLiteral("zz"), 1);
        result.append(copy);
        for (auto it = whole.cbegin(); it != whole.cend(); ++it) {
            copy = whole;
            copy.remove(it.key());
            result.append(copy);
            List values = spoilt(it.value());
            values.append(1.5);
            for (const QVariant &value : qAsConst(values)) {
                copy = whole;
                copy[it.key()] = value;
                result.append(copy);
            }
        }
    } else {
        result.append(1.5);
    }
    return result;
}

QStringList lines(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

class tst_VirtualWall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// Device A: cabinets 1 and 2 of 4 x 2 pixels side by side; device B: cabinet 3 of the same size to their right.
    void init()
    {
        wall().reset();
        Device right = gridDevice(b, QPoint(8, 0), 1, 1, QSize(4, 2), 3);
        wall().setDevices({gridDevice(a, QPoint(0, 0), 2, 1, QSize(4, 2)), right});
        wall().journal().clear();
    }

    void cleanupTestCase() { wall().reset(); }

    // Describing values

    void describesValues_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const QVariant &value, const char *text) {
            QTest::newRow(name) << value << quoted(text);
        };
        row("an invalid value", {}, "invalid");
        row("a text", QStringLiteral("a\"b\\\n\r\t\x01"), "'a\\'b\\\\\\n\\r\\t\\u0001'");
        row("an empty text", QString(), "''");
        row("a truth", true, "bool true");
        row("an int", -3, "int -3");
        row("an unsigned int", 3U, "uint 3");
        row("a signed 64-bit number", qlonglong(-5), "qlonglong -5");
        row("an unsigned 64-bit number", qulonglong(18446744073709551615U), "qulonglong 18446744073709551615");
        row("a short", QVariant::fromValue<ushort>(7), "ushort 7");
        row("a byte", QVariant::fromValue<uchar>(200), "uchar 200");
        row("a fraction", 0.5, "double 0.5");
        row("bytes", QByteArray("\x01\xff", 2), "QByteArray '01ff'");
        row("a map in key order", map({{"b", 1}, {"a", List()}}), "{'a': [], 'b': int 1}");
        row("a list", List{1, QVariant(), QStringLiteral("x")}, "[int 1, invalid, 'x']");
        row("a list of ints", QVariant::fromValue(QList<int>{1, 2}), "QList<int> [1, 2]");
        row("an empty list of ints", QVariant::fromValue(QList<int>()), "QList<int> []");
        row("a list of texts", QStringList{QStringLiteral("a")}, "QStringList ['a']");
        row("a value of another type", QPoint(1, 2), "QPoint QVariant(QPoint, QPoint(1,2))");
        row("an enumeration", QVariant::fromValue(Sample::LowGray), "Sample::SaveKind 2");
    }

    void describesValues()
    {
        QFETCH(QVariant, value);
        QTEST(CallJournal::describe(value), "text");
    }

    void shortensLongTexts()
    {
        const QString fits(64, QLatin1Char('x'));
        const QString start = QLatin1Char('"') + fits;
        QCOMPARE(CallJournal::describe(fits, CallJournal::Shorten), start + QLatin1Char('"'));
        QCOMPARE(CallJournal::describe(fits + QLatin1Char('x'), CallJournal::Shorten),
                 start + QStringLiteral("...\" (65 characters)"));
        QCOMPARE(CallJournal::describe(fits + QLatin1Char('x')), start + QStringLiteral("x\""));
    }

    // Journal

    void recordsEveryOperationExactly()
    {
        Map reply;
        List list;
        Headers headers;
        const List ids{qlonglong(1), two, qulonglong(1)};
        const QRect pixel(1, 0, 1, 1);
        const QByteArray values = chromaBytes(1, 1);
        const QByteArray bytes(16, '\1');

        HttpProxy::getInstance()->initialize(true);
        HttpProxy::getInstance()->getDeviceList();
        QVERIFY(HWInfo::getInstance()->getHWInfo(a, reply, true));
        QVERIFY(HWInfo::getInstance()->lock(a, map({{"appids", List{QStringLiteral("host")}}}), reply = {}));
        QVERIFY(HWInfo::getInstance()->unLock(a, {}));
        QVERIFY(screens().getScreens(a, reply = {}, false));
        QVERIFY(screens().getGammaAllList(a, QStringLiteral("0"), reply = {}));
        QVERIFY(screens().setBrightness(a, all, map({{"brightness", 7}})));
        const QVariant table = QVariant::fromValue(QList<int>{1, 2});
        QVERIFY(screens().setGammaTable(a, all, map({{"type", 2}, {"gammaTable", table}})));
        const Map image = map({{"regionrect", rectMap(0, 0, 8, 2)},
                               {"singlerect", rectMap(0, 0, 1, 1)},
                               {"color", colorMap(1, 2, 3)},
                               {"intervalX", 1},
                               {"intervalY", 2}});
        QVERIFY(screens().setPixelImage(a, image, reply = {}));
        QVERIFY(screens().setPixelImageMode(a, map({{"mode", 3}}), reply = {}));
        const Map board = map({{"regionRect", rectMap(0, 0, 8, 2)},
                               {"firstSquareW", 1},
                               {"firstSquareH", 1},
                               {"squareW", 1},
                               {"squareH", 1},
                               {"lastSquareColumnW", 1},
                               {"lastSquareRowH", 1},
                               {"regionColor", List{colorMap(1, 2, 3)}}});
        QVERIFY(screens().setCheckerBoardImage(a, board, reply = {}));
        QVERIFY(screens().setCheckerBoardImage(a, {}, reply = {}, headers));
        QVERIFY(screens().setCorrectClearImage(a, {}));

        Map brightness = map({{"value", 8}});
        QVERIFY(cabinets().setCabSingleBrightness(a, one, brightness, reply = {}));
        Map flag = map({{"flag", one}});
        QVERIFY(cabinets().setCabinetFlag(a, one, flag, reply = {}));
        QVERIFY(cabinets().getCabinetBrightnessRange(a, one, reply = {}));
        QVERIFY(cabinets().getCabinetGammaCustomValue(a, one, reply = {}));
        QVERIFY(cabinets().getConfigFile(a, one, reply = {}));
        QVERIFY(cabinets().setCabinetGammaCustomValue(a, one, map({{"type", 0}, {"gammaTable", table}}), reply = {}));
        const Map config = map({{"idList", List{qulonglong(1)}}, {"config", QStringLiteral("AQ==")}});
        QVERIFY(cabinets().setSingleConfigFile(a, one, config, reply = {}));
        QVERIFY(cabinets().setCabinetSnflags(a, {map({{"id", qulonglong(1)}, {"flag", a}})}, reply = {}));
        const List moduleFlags{map({{"id", one}, {"flag", a}})};
        QVERIFY(cabinets().setModuleflags(a, {map({{"id", qulonglong(1)}, {"moduleflags", moduleFlags}})}, reply = {}));
        Map flash = map({{"cids", List{qulonglong(2)}}, {"type", 1}});
        QVERIFY(cabinets().clearModuleCoefficient(a, flash, reply = {}, 10));
        QVERIFY(cabinets().saveModuleCoefficient(a, flash, reply = {}, 11));
        QVERIFY(cabinets().reloadModuleCoefficient(a, flash, reply = {}, 12));
        QVERIFY(cabinets().getCabinetsBaseInfo(a, list));
        QVERIFY(cabinets().getAllCabinetsInfo(a, list = {}, true));
        QVERIFY(cabinets().getCabAllFlags(a, list = {}));

        QVERIFY(correction().loadCoefficient(a, one, list = {}));
        QVERIFY(correction().loadMultilayerCoefficient(a, one, list = {}));
        QVERIFY(correction().uploadCoefficient(a, one, blockRequest(pixel, values), reply = {}));
        QVERIFY(correction().uploadMultilayerCoefficient(a, one, blockRequest(pixel, bytes), reply = {}));
        QVERIFY(correction().uploadLowgrayCoefficient(a, one, blockRequest(pixel, values), reply = {}));
        const List many{manyElement(qlonglong(1), pixel, values)};
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, many)), QVariant(true));
        const List manyBytes{manyElement(qlonglong(1), pixel, bytes)};
        QCOMPARE(settledValue(correction().uploadMultilayerCoefficientAsync(a, manyBytes)), QVariant(true));
        QCOMPARE(settledValue(correction().uploadLowGrayCoefficientAsync(a, many)), QVariant(true));
        for (const MapOperation operation :
             {&Correctionop::saveCabinetsCoeffcient, &Correctionop::saveCabinetsMultilayerCoeffcient,
              &Correctionop::saveCabinetsLowgrayCoeffcient, &Correctionop::applyCabinetsLowgrayCoeffcient,
              &Correctionop::clearCabinetsUserCoefficient, &Correctionop::clearCabinetsMultilayerCoefficient,
              &Correctionop::clearCabinetsLowgrayCoefficient, &Correctionop::saveCabinetsFactoryCoefficient,
              &Correctionop::showCabinetsCoefficient, &Correctionop::showCabinetsFactoryCoefficient,
              &Correctionop::showCabinetsModuleCoefficient, &Correctionop::saveCabinetsModuleCoefficient})
            QVERIFY((correction().*operation)(a, cids(ids), reply = {}));
        const Map parameter = map({{"inLayer1", 1U},
                                   {"inLayer2", 2U},
                                   {"inLayer3", 3U},
                                   {"inLayer4", 4U},
                                   {"inVldBitLayer01", 5},
                                   {"inVldBitLayer12", 6},
                                   {"inVldBitLayer23", 7},
                                   {"inVldBitLayer34", 8}});
        const Map parameterRequest = map({{"cids", ids}, {"param", parameter}});
        QVERIFY(correction().setCabinetsMultilayerParameter(a, parameterRequest, reply = {}));
        const List layers{map({{"inLayer", 1U}, {"inVldBitLayer", 2}})};
        const Map layersRequest = map({{"cids", ids}, {"multilayerParams", layers}});
        QVERIFY(correction().setCabinetsMultilayerParameterV2(a, layersRequest, reply = {}));
        const Map solid = map({{"idList", ids}, {"type", QVariant::fromValue(Sample::LowGray)}});
        QVERIFY(correction().setMutiCabinetSolid(a, solid, reply = {}));
        QVERIFY(correction().setScreenABLEnable(a, all, map({{"enable", true}}), reply = {}));
        QVERIFY(correction().setScreenXBit(a, all, map({{"mode", 3}, {"xbitEnable", true}}), reply = {}));
        QVERIFY(correction().setScreenEffectMode(a, all, map({{"mode", 2}}), reply = {}));
        QVERIFY(correction().setCabinetEffectMode(a, one, map({{"type", 1}}), reply = {}));
        QVERIFY(correction().getCabinetEffectMode(a, one, reply = {}));
        QVERIFY(correction().getFlashCheckCode(a, one, {}, list = {}));

        const QString block = quoted("{'area': {'point': {'x': int 1, 'y': int 0}, 'size': "
                                     "{'height': int 1, 'width': int 1}}, ");
        const QString chroma = QStringLiteral("\"AQABAAEAAQABAAEAAQABAAEA\"}");
        const QString layer = QStringLiteral("\"AQEBAQEBAQEBAQEBAQEBAQ==\"}");
        const auto upload = [&](const char *name, const QString &text) {
            return quoted("Correctionop::upload%1('A', '1', [%2'coefficients': %3])").arg(QLatin1String(name), block, text);
        };
        const auto uploadMany = [&](const char *name, const QString &text) {
            return quoted("Correctionop::upload%1('A', [{'cid': qlonglong 1, 'coefficientList': [%2'coefficient': %3]}])")
                .arg(QLatin1String(name), block, text);
        };
        const QString idTexts = quoted("[qlonglong 1, '2', qulonglong 1]");
        QStringList expected{
            QStringLiteral("HttpProxy::initialize(bool true)"),
            QStringLiteral("HttpProxy::getDeviceList()"),
            quoted("HWInfo::getHWInfo('A', bool true)"),
            quoted("HWInfo::lock('A', {'appids': ['host']})"),
            quoted("HWInfo::unLock('A', {})"),
            quoted("ScreenInfo::getScreens('A', bool false)"),
            quoted("ScreenInfo::getGammaAllList('A', '0')"),
            quoted("ScreenInfo::setBrightness('A', '255', {'brightness': int 7})"),
            quoted("ScreenInfo::setGammaTable('A', '255', {'gammaTable': QList<int> [1, 2], 'type': int 2})"),
            quoted("ScreenInfo::setPixelImage('A', {'color': {'b': int 3, 'g': int 2, 'r': int 1}, 'intervalX': int 1, "
                   "'intervalY': int 2, 'regionrect': {'height': int 2, 'width': int 8, 'x': int 0, 'y': int 0}, "
                   "'singlerect': {'height': int 1, 'width': int 1, 'x': int 0, 'y': int 0}})"),
            quoted("ScreenInfo::setPixelImageMode('A', {'mode': int 3})"),
            quoted("ScreenInfo::setCheckerBoardImage('A', {'firstSquareH': int 1, 'firstSquareW': int 1, "
                   "'lastSquareColumnW': int 1, 'lastSquareRowH': int 1, 'regionColor': [{'b': int 3, 'g': int 2, "
                   "'r': int 1}], 'regionRect': {'height': int 2, 'width': int 8, 'x': int 0, 'y': int 0}, "
                   "'squareH': int 1, 'squareW': int 1})"),
            quoted("ScreenInfo::setCheckerBoardImage(responseHeader)('A', {})"),
            quoted("ScreenInfo::setCorrectClearImage('A', {})"),
            quoted("CabinetInfoOperator::setCabSingleBrightness('A', '1', {'value': int 8})"),
            quoted("CabinetInfoOperator::setCabinetFlag('A', '1', {'flag': '1'})"),
            quoted("CabinetInfoOperator::getCabinetBrightnessRange('A', '1')"),
            quoted("CabinetInfoOperator::getCabinetGammaCustomValue('A', '1')"),
            quoted("CabinetInfoOperator::getConfigFile('A', '1')"),
            quoted("CabinetInfoOperator::setCabinetGammaCustomValue('A', '1', "
                   "{'gammaTable': QList<int> [1, 2], 'type': int 0})"),
            quoted("CabinetInfoOperator::setSingleConfigFile('A', '1', "
                   "{'config': 'AQ==', 'idList': [qulonglong 1]})"),
            quoted("CabinetInfoOperator::setCabinetSnflags('A', [{'flag': 'A', 'id': qulonglong 1}])"),
            quoted("CabinetInfoOperator::setModuleflags('A', [{'id': qulonglong 1, "
                   "'moduleflags': [{'flag': 'A', 'id': '1'}]}])"),
            quoted("CabinetInfoOperator::clearModuleCoefficient('A', "
                   "{'cids': [qulonglong 2], 'type': int 1}, int 10)"),
            quoted("CabinetInfoOperator::saveModuleCoefficient('A', "
                   "{'cids': [qulonglong 2], 'type': int 1}, int 11)"),
            quoted("CabinetInfoOperator::reloadModuleCoefficient('A', "
                   "{'cids': [qulonglong 2], 'type': int 1}, int 12)"),
            quoted("CabinetInfoOperator::getCabinetsBaseInfo('A')"),
            quoted("CabinetInfoOperator::getAllCabinetsInfo('A', bool true)"),
            quoted("CabinetInfoOperator::getCabAllFlags('A')"),
            quoted("Correctionop::loadCoefficient('A', '1')"),
            quoted("Correctionop::loadMultilayerCoefficient('A', '1')"),
            upload("Coefficient", chroma),
            upload("MultilayerCoefficient", layer),
            upload("LowgrayCoefficient", chroma),
            uploadMany("CoefficientAsync", chroma),
            uploadMany("MultilayerCoefficientAsync", layer),
            uploadMany("LowGrayCoefficientAsync", chroma),
        };
        for (const char *name :
             {"saveCabinetsCoeffcient", "saveCabinetsMultilayerCoeffcient", "saveCabinetsLowgrayCoeffcient",
              "applyCabinetsLowgrayCoeffcient", "clearCabinetsUserCoefficient", "clearCabinetsMultilayerCoefficient",
              "clearCabinetsLowgrayCoefficient", "saveCabinetsFactoryCoefficient", "showCabinetsCoefficient",
              "showCabinetsFactoryCoefficient", "showCabinetsModuleCoefficient", "saveCabinetsModuleCoefficient"})
            expected += quoted("Correctionop::%1('A', {'cids': %2})").arg(QLatin1String(name), idTexts);
        expected += {
            quoted("Correctionop::setCabinetsMultilayerParameter('A', {'cids': %1, 'param': "
                   "{'inLayer1': uint 1, 'inLayer2': uint 2, 'inLayer3': uint 3, 'inLayer4': uint 4, "
                   "'inVldBitLayer01': int 5, 'inVldBitLayer12': int 6, 'inVldBitLayer23': int 7, "
                   "'inVldBitLayer34': int 8}})")
                .arg(idTexts),
            quoted("Correctionop::setCabinetsMultilayerParameterV2('A', {'cids': %1, "
                   "'multilayerParams': [{'inLayer': uint 1, 'inVldBitLayer': int 2}]})")
                .arg(idTexts),
            quoted("Correctionop::setMutiCabinetSolid('A', {'idList': %1, 'type': Sample::SaveKind 2})").arg(idTexts),
            quoted("Correctionop::setScreenABLEnable('A', '255', {'enable': bool true})"),
            quoted("Correctionop::setScreenXBit('A', '255', {'mode': int 3, 'xbitEnable': bool true})"),
            quoted("Correctionop::setScreenEffectMode('A', '255', {'mode': int 2})"),
            quoted("Correctionop::setCabinetEffectMode('A', '1', {'type': int 1})"),
            quoted("Correctionop::getCabinetEffectMode('A', '1')"),
            quoted("Correctionop::getFlashCheckCode('A', '1', {})"),
        };
        const QStringList transcript = wall().journal().transcript();
        for (int i = 0; i < qMin(transcript.size(), expected.size()); ++i)
            QCOMPARE(transcript[i], expected[i]);
        QCOMPARE(transcript.size(), expected.size());
        QCOMPARE(wall().journal().notes(), QStringList());
        const QList<Call> calls = wall().journal().calls();
        for (const Call &call : calls)
            QVERIFY2(call.result, qPrintable(CallJournal::describe(call)));
    }

    void keepsTheReplyAndTheShortForm()
    {
        Map reply;
        correction().getCabinetEffectMode(a, one, reply);
        QCOMPARE(wall().journal().calls().value(0).reply, QVariant(map({{"mode", 0}})));
        correction().uploadCoefficient(a, one, blockRequest(QRect(0, 0, 4, 2), chromaBytes(8, 0)), reply = {});
        QVERIFY(wall().journal().transcript().last().contains(QStringLiteral("AAAA\"")));
        QVERIFY(
            wall().journal().transcript(CallJournal::Shorten).last().contains(QStringLiteral("AAAA...\" (192 characters)")));
        correction().uploadCoefficient(a, QStringLiteral("9"), blockRequest(QRect(0, 0, 4, 2), chromaBytes(8, 0)),
                                       reply = {});
        const QString note = QStringLiteral(" -- unknown cabinet \"9\"");
        QCOMPARE(wall().journal().notes(), QStringList{wall().journal().transcript().last() + note});
        QCOMPARE(wall().journal().notes(CallJournal::Shorten),
                 QStringList{wall().journal().transcript(CallJournal::Shorten).last() + note});
    }

    void keepsOnlyTheNewestCallsWithinTheLimit()
    {
        Map reply;
        wall().journal().setLimit(2);
        for (int mode = 0; mode < 4; ++mode)
            correction().setCabinetEffectMode(a, one, map({{"type", mode}}), reply = {});
        QCOMPARE(wall().journal().calls().size(), 2);
        QCOMPARE(wall().journal().calls()[0].request, QVariant(map({{"type", 2}})));
        wall().journal().setLimit(0);
        QVERIFY(correction().setCabinetEffectMode(a, one, map({{"type", 9}}), reply = {}));
        QCOMPARE(wall().journal().calls().size(), 0);
        QCOMPARE(wall().state().effectMode(a, one), 9);
        wall().journal().setLimit(-1);
        correction().getCabinetEffectMode(a, one, reply = {});
        correction().getCabinetEffectMode(a, one, reply = {});
        QCOMPARE(wall().journal().calls().size(), 2);
        wall().journal().clear();
        QCOMPARE(wall().journal().calls().size(), 0);
    }

    void aResetForgetsEverything()
    {
        wall().journal().setLimit(0);
        wall().scripts().on(QString()).answerFalse();
        wall().state().setReplyBlockHeight(1);
        wall().state().setDefaultPixel(Kind::Chroma, "x");
        HttpProxy::getInstance()->initialize(true);
        wall().reset();
        QVERIFY(wall().pluggedDevices().isEmpty());
        QVERIFY(HttpProxy::getInstance()->getDeviceList().isEmpty());
        QCOMPARE(wall().journal().calls().size(), 1);
        wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(1, 2))});
        List reply;
        QVERIFY(correction().loadCoefficient(a, one, reply));
        QCOMPARE(reply.size(), 1);
        QCOMPARE(wall().state().chroma(a, one), chromaValues(2, 0));
        QVERIFY(!wall().state().isDiscovering());
    }

    void notesAReplyThatIsNotEmpty()
    {
        Map reply = map({{"left", 1}});
        QVERIFY(correction().getCabinetEffectMode(a, one, reply));
        QCOMPARE(reply, map({{"mode", 0}}));
        QCOMPARE(wall().journal().notes(),
                 QStringList{QStringLiteral("Correctionop::getCabinetEffectMode(\"A\", \"1\") -- the reply was not passed "
                                            "in empty")});
    }

    // Discovery

    void describesTheWallAsDevicesDo()
    {
        wall().setDevices({});
        Device device;
        device.key = a;
        device.label = QStringLiteral("left");
        device.customName = QStringLiteral("custom");
        device.screenId = QStringLiteral("s");
        device.screenName = QStringLiteral("Screen");
        device.screenPosition = QPoint(10, 20);
        device.multilayerCorrectionLayers = 3;
        const ReceivingCard card{
            QStringLiteral("5"), QStringLiteral("cf"), QRect(0, 1, 2, 3), {{one, QStringLiteral("mf"), QRect(1, 2, 3, 4)}}};
        const Cabinet cabinet{QStringLiteral("7"), two, QPoint(3, 4), QSize(8, 6), QStringLiteral("f"), {card}};
        device.subScreens = {{QPoint(1, 2), {cabinet}}};
        wall().addDevice(device);

        QCOMPARE(device.rect(), QRect(14, 26, 8, 6));
        const QList<HttpDeviceInfo> found = HttpProxy::getInstance()->getDeviceList();
        QCOMPARE(found.size(), 1);
        QCOMPARE(found[0].key, a);
        QCOMPARE(found[0].label, QStringLiteral("left"));

        Map reply;
        List list;
        QVERIFY(HWInfo::getInstance()->getHWInfo(a, reply, true));
        QCOMPARE(CallJournal::describe(reply), quoted("{'customName': 'custom'}"));
        QVERIFY(screens().getScreens(a, reply = {}, true));
        QCOMPARE(CallJournal::describe(reply),
                 quoted("{'expendInfo.isAllowSingleDev': bool true, 'position.x': int 10, 'position.y': int 20, "
                        "'screenName': 'Screen', 'screenUUID': 's', 'subScreens': [{'cabinets': ["
                        "{'cabinetID': '7', 'outputID': '2', 'position.x': int 3, 'position.y': int 4, "
                        "'size.height': int 6, 'size.width': int 8}], "
                        "'position.x': int 1, 'position.y': int 2}]}"));
        QVERIFY(cabinets().getAllCabinetsInfo(a, list, true));
        QCOMPARE(CallJournal::describe(list), quoted("[{'id': '7', 'outputID': '2'}]"));
        QVERIFY(cabinets().getCabAllFlags(a, list = {}));
        QCOMPARE(CallJournal::describe(list),
                 quoted("[{'flag': 'f', 'id': '7', 'recvcardflags': [{'flag': 'cf', 'height': int 3, 'id': '5', "
                        "'moduleflags': [{'flag': 'mf', 'height': int 4, 'id': '1', 'width': int 3, "
                        "'x': int 1, 'y': int 2}], 'width': int 2, 'x': int 0, 'y': int 1}]}]"));
        QVERIFY(cabinets().getCabinetsBaseInfo(a, list = {}));
        QCOMPARE(CallJournal::describe(list),
                 quoted("[{'functionTable': {'fineGrayscale': bool true, 'magicGray': bool false, "
                        "'multilayerCorrectionLayer': uint 3, 'multilayercorrection': bool true, "
                        "'xBitPlus': bool true}}]"));
        QVERIFY(wall().state().setFlashCheckCode(a, QStringLiteral("7"), one, 9));
        QVERIFY(correction().getFlashCheckCode(a, QStringLiteral("7"), {}, list = {}));
        QCOMPARE(CallJournal::describe(list),
                 quoted("[{'flashCheckResults': [{'checkCode': int 9, 'point.x': int 1, 'point.y': int 2, "
                        "'size.h': int 4, 'size.w': int 3}], 'outputId': int 2, 'rvcardId': int 5}]"));
    }

    void buildsGrids()
    {
        const Device device = gridDevice(QStringLiteral("K"), QPoint(5, 6), 2, 2, QSize(8, 4), 10);
        QCOMPARE(device.rect(), QRect(5, 6, 16, 8));
        QCOMPARE(device.subScreens.size(), 1);
        const QList<Cabinet> all4 = device.subScreens[0].cabinets;
        QCOMPARE(all4.size(), 4);
        QCOMPARE(all4[3].id, QStringLiteral("13"));
        QCOMPARE(all4[3].outputId, two);
        QCOMPARE(all4[3].position, QPoint(8, 4));
        QCOMPARE(all4[2].position, QPoint(0, 4));
        QCOMPARE(all4[1].receivingCards.size(), 1);
        QCOMPARE(all4[1].receivingCards[0].rect, QRect(0, 0, 8, 4));
        QCOMPARE(all4[1].receivingCards[0].modules[3].id, QStringLiteral("3"));
        QCOMPARE(all4[1].receivingCards[0].modules[3].rect, QRect(4, 2, 4, 2));
    }

    void tellsWhenDevicesComeAndGo()
    {
        QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
        wall().addDevice(gridDevice(QStringLiteral("C"), QPoint(0, 9), 1, 1, QSize(2, 2), 20));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(wall().pluggedDevices().size(), 3);
        Device other = gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 2), 50);
        other.screenId = QStringLiteral("other");
        wall().addDevice(other);
        QCOMPARE(changed.size(), 2);
        QCOMPARE(wall().pluggedDevices().size(), 3);
        QCOMPARE(wall().pluggedDevices()[0].subScreens[0].cabinets[0].id, QStringLiteral("50"));
        QCOMPARE(wall().screenIds(), (QStringList{QStringLiteral("other"), QStringLiteral("screen")}));
        QVERIFY(wall().removeDevice(b));
        QCOMPARE(changed.size(), 3);
        QCOMPARE(HttpProxy::getInstance()->getDeviceList().size(), 2);
        QVERIFY(!wall().removeDevice(b));
        QCOMPARE(changed.size(), 3);
        wall().setDevices({});
        QCOMPARE(changed.size(), 4);
        QVERIFY(HttpProxy::getInstance()->getDeviceList().isEmpty());
    }

    void signalsAreEmittedWithoutTheLock()
    {
        int seen = -1;
        const auto connection = connect(HttpProxy::getInstance(), &HttpProxy::deviceChanged,
                                        [&] { seen = HttpProxy::getInstance()->getDeviceList().size(); });
        wall().removeDevice(a);
        disconnect(connection);
        QCOMPARE(seen, 1);
    }

    void renamesScreens()
    {
        QSignalSpy renamed(&screens(), &ScreenInfo::signal_screenNameChanged);
        QVERIFY(wall().renameScreen(b, QStringLiteral("Lobby")));
        QCOMPARE(renamed.size(), 1);
        QCOMPARE(renamed[0], (QList<QVariant>{b, QStringLiteral("Lobby")}));
        Map reply;
        QVERIFY(screens().getScreens(b, reply, true));
        QCOMPARE(reply.value(QStringLiteral("screenName")), QVariant(QStringLiteral("Lobby")));
        QVERIFY(!wall().renameScreen(QStringLiteral("C"), one));
        QCOMPARE(renamed.size(), 1);
    }

    void remembersWhetherDiscoveryRuns()
    {
        QVERIFY(!wall().state().isDiscovering());
        HttpProxy::getInstance()->initialize(true);
        QVERIFY(wall().state().isDiscovering());
        HttpProxy::getInstance()->initialize(false);
        QVERIFY(!wall().state().isDiscovering());
    }

    // Coefficients

    void pastesUploadedBlocks()
    {
        Map reply;
        const QRect middle(1, 1, 2, 1);
        QVERIFY(correction().uploadCoefficient(a, one, blockRequest(middle, chromaBytes(2, 0x1234)), reply));
        QVector<quint16> expected = chromaValues(8, 0);
        for (int i = 5 * 9; i < 7 * 9; ++i)
            expected[i] = 0x1234;
        QCOMPARE(wall().state().chroma(a, one), expected);
        QCOMPARE(wall().state().chroma(a, two), chromaValues(8, 0));
        QCOMPARE(wall().state().lowGray(a, one), chromaValues(8, 0));
        QCOMPARE(wall().state().chroma(a, one, Store::User), chromaValues(8, 0));

        QVERIFY(correction().uploadMultilayerCoefficient(a, one, blockRequest(QRect(3, 0, 1, 2), QByteArray(32, 'x')),
                                                         reply = {}));
        QCOMPARE(wall().state().multilayer(a, one),
                 QByteArray(48, '\0') + QByteArray(16, 'x') + QByteArray(48, '\0') + QByteArray(16, 'x'));
        QVERIFY(
            correction().uploadLowgrayCoefficient(a, one, blockRequest(QRect(0, 0, 4, 2), chromaBytes(8, 5)), reply = {}));
        QCOMPARE(wall().state().lowGray(a, one), chromaValues(8, 5));
        QCOMPARE(wall().state().chroma(a, one), expected);
    }

    void pastesUploadsForManyCabinets()
    {
        const QRect whole(0, 0, 4, 2);
        const List both{manyElement(qlonglong(1), whole, chromaBytes(8, 11)),
                        manyElement(qlonglong(2), whole, chromaBytes(8, 12))};
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, both)), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 11));
        QCOMPARE(wall().state().chroma(a, two), chromaValues(8, 12));
        QCOMPARE(settledValue(correction().uploadLowGrayCoefficientAsync(a, {both[1]})), QVariant(true));
        QCOMPARE(wall().state().lowGray(a, one), chromaValues(8, 0));
        QCOMPARE(wall().state().lowGray(a, two), chromaValues(8, 12));
        const List bytes{manyElement(qlonglong(2), whole, QByteArray(128, 'm'))};
        QCOMPARE(settledValue(correction().uploadMultilayerCoefficientAsync(a, bytes)), QVariant(true));
        QCOMPARE(wall().state().multilayer(a, two), QByteArray(128, 'm'));
    }

    void takesAllBlocksOrNone()
    {
        const QRect whole(0, 0, 4, 2);
        const List request{manyElement(qlonglong(1), whole, chromaBytes(8, 11)),
                           manyElement(qlonglong(2), whole, chromaBytes(7, 12))};
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(false));
        QCOMPARE(lastNote(), QStringLiteral("block of 4x2 for cabinet 2 has 126 bytes, not 144"));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));
    }

    void loadsBlocksOrBands()
    {
        QVector<quint16> values;
        for (quint16 i = 0; i < 72; ++i)
            values += static_cast<quint16>(i * 257);
        QVERIFY(wall().state().setChroma(a, one, values));
        QByteArray bytes;
        for (int i = 0; i < 72; ++i)
            bytes += QByteArray(2, static_cast<char>(i));

        const auto block = [&](int y, int height) {
            return map({{"area.point.x", 0},
                        {"area.point.y", y},
                        {"area.size.width", 4},
                        {"area.size.height", height},
                        {"coefficients", base64(bytes.mid(y * 72, height * 72))}});
        };
        List reply;
        QVERIFY(correction().loadCoefficient(a, one, reply));
        QCOMPARE(reply, List{block(0, 2)});
        wall().state().setReplyBlockHeight(1);
        QVERIFY(correction().loadCoefficient(a, one, reply = {}));
        QCOMPARE(reply, (List{block(0, 1), block(1, 1)}));
        QVERIFY(correction().loadMultilayerCoefficient(a, one, reply = {}));
        QCOMPARE(reply.size(), 2);
        QCOMPARE(reply[1].toMap().value(QStringLiteral("coefficients")).toString(), base64(QByteArray(64, '\0')));
        wall().addDevice(gridDevice(QStringLiteral("C"), QPoint(0, 9), 1, 1, QSize(1, 3), 9));
        wall().state().setReplyBlockHeight(2);
        QVERIFY(correction().loadCoefficient(QStringLiteral("C"), QStringLiteral("9"), reply = {}));
        QCOMPARE(reply.size(), 2);
        QCOMPARE(reply[1].toMap().value(QStringLiteral("area.size.height")), QVariant(1));
    }

    void savesAndShows_data()
    {
        QTest::addColumn<MapOperation>("save");
        QTest::addColumn<MapOperation>("show");
        QTest::addColumn<Store>("store");
        QTest::newRow("user") << &Correctionop::saveCabinetsCoeffcient << &Correctionop::showCabinetsCoefficient
                              << Store::User;
        QTest::newRow("factory") << &Correctionop::saveCabinetsFactoryCoefficient
                                 << &Correctionop::showCabinetsFactoryCoefficient << Store::Factory;
        QTest::newRow("modules") << &Correctionop::saveCabinetsModuleCoefficient
                                 << &Correctionop::showCabinetsModuleCoefficient << Store::Module;
    }

    void savesAndShows()
    {
        QFETCH(MapOperation, save);
        QFETCH(MapOperation, show);
        QFETCH(Store, store);
        Map reply;
        QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 1)));
        QVERIFY(wall().state().setChroma(a, two, chromaValues(8, 2)));
        QVERIFY((correction().*save)(a, cids({one}), reply));
        for (const Store each : {Store::User, Store::Factory, Store::Module, Store::Flash})
            QCOMPARE(wall().state().chroma(a, one, each), chromaValues(8, each == store ? 1 : 0));
        QCOMPARE(wall().state().chroma(a, two, store), chromaValues(8, 0));

        QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 9)));
        QCOMPARE(wall().state().shown(a, one), Store::Working);
        QVERIFY((correction().*show)(a, cids({qlonglong(1)}), reply = {}));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 1));
        QCOMPARE(wall().state().shown(a, one), store);
        QCOMPARE(wall().state().chroma(a, two), chromaValues(8, 2));
        QVERIFY(correction().uploadCoefficient(a, one, blockRequest(QRect(0, 0, 1, 1), chromaBytes(1, 4)), reply = {}));
        QCOMPARE(wall().state().shown(a, one), Store::Working);
        QVERIFY((correction().*show)(a, cids({one}), reply = {}));
        QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 1)));
        QCOMPARE(wall().state().shown(a, one), Store::Working);
        QCOMPARE(wall().state().chroma(a, one, store), chromaValues(8, 1));
    }

    void clearsWorkingAndUserStore()
    {
        Map reply;
        wall().state().setDefaultPixel(Kind::Chroma, QByteArray("\x07\x01", 2));
        QVector<quint16> fresh = chromaValues(8, 0);
        for (int i = 0; i < fresh.size(); i += 9)
            fresh[i] = 0x0107;
        QCOMPARE(wall().state().chroma(a, two), fresh);
        for (const Store store : {Store::Working, Store::User, Store::Factory})
            QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 1), store));
        QVERIFY(correction().clearCabinetsUserCoefficient(a, cids({one}), reply));
        QCOMPARE(wall().state().chroma(a, one), fresh);
        QCOMPARE(wall().state().chroma(a, one, Store::User), fresh);
        QCOMPARE(wall().state().chroma(a, one, Store::Factory), chromaValues(8, 1));
        QCOMPARE(wall().state().lowGray(a, one), chromaValues(8, 0));
    }

    void keepsKindsApart()
    {
        Map reply;
        const auto fill = [] {
            return wall().state().setChroma(a, one, chromaValues(8, 1))
                   && wall().state().setLowGray(a, one, chromaValues(8, 2))
                   && wall().state().setMultilayer(a, one, QByteArray(128, 'm'));
        };
        QVERIFY(fill());
        QVERIFY(correction().saveCabinetsLowgrayCoeffcient(a, cids({one}), reply));
        QCOMPARE(wall().state().lowGray(a, one, Store::User), chromaValues(8, 2));
        QCOMPARE(wall().state().chroma(a, one, Store::User), chromaValues(8, 0));
        QCOMPARE(wall().state().multilayer(a, one, Store::User), QByteArray(128, '\0'));
        QVERIFY(correction().saveCabinetsMultilayerCoeffcient(a, cids({one}), reply = {}));
        QCOMPARE(wall().state().multilayer(a, one, Store::User), QByteArray(128, 'm'));

        QVERIFY(wall().state().setLowGray(a, one, chromaValues(8, 7)));
        QVERIFY(correction().applyCabinetsLowgrayCoeffcient(a, cids({qlonglong(1)}), reply = {}));
        QCOMPARE(wall().state().lowGray(a, one), chromaValues(8, 2));
        QCOMPARE(wall().state().shown(a, one, Kind::LowGray), Store::User);
        QCOMPARE(wall().state().shown(a, one, Kind::Chroma), Store::Working);

        QVERIFY(correction().clearCabinetsLowgrayCoefficient(a, cids({one}), reply = {}));
        QCOMPARE(wall().state().lowGray(a, one, Store::User), chromaValues(8, 0));
        QCOMPARE(wall().state().multilayer(a, one), QByteArray(128, 'm'));
        QVERIFY(correction().clearCabinetsMultilayerCoefficient(a, cids({one}), reply = {}));
        QCOMPARE(wall().state().multilayer(a, one), QByteArray(128, '\0'));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 1));
    }

    void savesTheKindThatSolidNames()
    {
        Map reply;
        QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 1)));
        QVERIFY(wall().state().setLowGray(a, one, chromaValues(8, 2)));
        const Map request = map({{"idList", List{qlonglong(1)}}, {"type", QVariant::fromValue(Sample::LowGray)}});
        QVERIFY(correction().setMutiCabinetSolid(a, request, reply));
        QCOMPARE(wall().state().lowGray(a, one, Store::User), chromaValues(8, 2));
        QCOMPARE(wall().state().chroma(a, one, Store::User), chromaValues(8, 0));
    }

    void keepsModuleFlash()
    {
        Map reply;
        Map request = map({{"cids", List{qulonglong(1)}}, {"type", 3}});
        QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 1)));
        QVERIFY(cabinets().saveModuleCoefficient(a, request, reply, 1));
        QCOMPARE(wall().state().chroma(a, one, Store::Flash), chromaValues(8, 1));
        QCOMPARE(wall().state().chroma(a, one, Store::Module), chromaValues(8, 0));
        QVERIFY(wall().state().setChroma(a, one, chromaValues(8, 2)));
        QVERIFY(cabinets().reloadModuleCoefficient(a, request, reply = {}, 1));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 1));
        QCOMPARE(wall().state().shown(a, one), Store::Flash);
        QVERIFY(cabinets().clearModuleCoefficient(a, request, reply = {}, 1));
        QCOMPARE(wall().state().chroma(a, one, Store::Flash), chromaValues(8, 0));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 1));
    }

    void setsPlanesOfTheRightSizeOnly()
    {
        QVERIFY(!wall().state().setChroma(a, one, chromaValues(7, 1)));
        QVERIFY(!wall().state().setChroma(a, QStringLiteral("9"), chromaValues(8, 1)));
        QVERIFY(!wall().state().setMultilayer(a, one, QByteArray(127, 'm')));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));
        QCOMPARE(wall().state().chroma(QStringLiteral("C"), one), QVector<quint16>());
    }

    // Settings

    void keepsSettingsOfDevices()
    {
        Map reply;
        QCOMPARE(wall().state().brightness(a), 5000);
        QCOMPARE(wall().state().brightness(a, two), 5000);
        QVERIFY(screens().setBrightness(a, all, map({{"brightness", 70}})));
        QCOMPARE(wall().state().brightness(a), 70);
        QCOMPARE(wall().state().brightness(a, two), 70);
        QCOMPARE(wall().state().brightness(b), 5000);
        QVERIFY(correction().setScreenEffectMode(a, all, map({{"mode", 2}}), reply));
        QCOMPARE(wall().state().effectMode(a), 2);
        QCOMPARE(wall().state().effectMode(a, two), 2);
        QVERIFY(correction().setScreenXBit(a, all, map({{"mode", 3}, {"xbitEnable", true}}), reply = {}));
        QCOMPARE(wall().state().xBitMode(a), 3);
        QVERIFY(wall().state().isXBitEnabled(a));
        QVERIFY(!wall().state().isXBitEnabled(b));
        QVERIFY(correction().setScreenABLEnable(a, all, map({{"enable", true}}), reply = {}));
        QVERIFY(wall().state().isAblEnabled(a));
        QVERIFY(!wall().state().isAblEnabled(b));
        QVERIFY(screens().setPixelImageMode(a, map({{"mode", 4}}), reply = {}));
        QCOMPARE(wall().state().imageMode(a), 4);
        QVERIFY(HWInfo::getInstance()->lock(a, map({{"appids", List{QStringLiteral("host")}}}), reply = {}));
        QCOMPARE(wall().state().lockOwner(a), QStringLiteral("host"));
        QVERIFY(HWInfo::getInstance()->unLock(a, {}));
        QCOMPARE(wall().state().lockOwner(a), QString());
    }

    void keepsSettingsOfCabinets()
    {
        Map reply;
        Map request = map({{"value", 7}});
        QVERIFY(cabinets().setCabSingleBrightness(a, one, request, reply));
        QCOMPARE(wall().state().brightness(a, one), 7);
        QCOMPARE(wall().state().brightness(a, two), 5000);
        QVERIFY(correction().setCabinetEffectMode(a, one, map({{"type", 3}}), reply = {}));
        QVERIFY(correction().getCabinetEffectMode(a, one, reply = {}));
        QCOMPARE(reply, map({{"mode", 3}}));
        QCOMPARE(wall().state().effectMode(a), 0);
        QVERIFY(cabinets().getCabinetBrightnessRange(a, one, reply = {}));
        QCOMPARE(CallJournal::describe(reply), quoted("{'brightness.default': uint 5000, "
                                                      "'brightness.max': uint 10000, 'brightness.min': uint 0}"));
        request = map({{"flag", two}});
        QVERIFY(cabinets().setCabinetFlag(a, one, request, reply = {}));
        QCOMPARE(wall().state().flag(a, one), two);
        QVERIFY(cabinets().setCabinetSnflags(a, {map({{"id", qulonglong(1)}, {"flag", a}})}, reply = {}));
        QCOMPARE(wall().state().flag(a, one), a);
        QCOMPARE(wall().state().flag(a, two), QString());
        QCOMPARE(wall().pluggedDevices()[0].subScreens[0].cabinets[0].flag, a);
        const List flags{map({{"id", two}, {"flag", b}})};
        QVERIFY(cabinets().setModuleflags(a, {map({{"id", qulonglong(1)}, {"moduleflags", flags}})}, reply = {}));
        QCOMPARE(wall().state().moduleFlag(a, one, two), b);
        QCOMPARE(wall().state().moduleFlag(a, two, two), QString());
        const Map config = map({{"idList", List{qulonglong(1)}}, {"config", base64("\x01\x02")}});
        QVERIFY(cabinets().setSingleConfigFile(a, one, config, reply = {}));
        QCOMPARE(wall().state().configFile(a, one), QByteArray("\x01\x02"));
        QVERIFY(wall().state().setConfigFile(a, one, "xyz"));
        QVERIFY(cabinets().getConfigFile(a, one, reply = {}));
        QCOMPARE(reply, map({{"config", base64("xyz")}}));
        const List layers{map({{"inLayer", 1U}, {"inVldBitLayer", 2}})};
        QVERIFY(correction().setCabinetsMultilayerParameterV2(
            a, map({{"cids", List{qlonglong(2)}}, {"multilayerParams", layers}}), reply = {}));
        QCOMPARE(wall().state().multilayerParameters(a, two), layers);
        QCOMPARE(wall().state().multilayerParameters(a, one), List());
        Map parameter;
        for (const char *key : {"inLayer1", "inLayer2", "inLayer3", "inLayer4"})
            parameter[QString::fromLatin1(key)] = 3U;
        for (const char *key : {"inVldBitLayer01", "inVldBitLayer12", "inVldBitLayer23", "inVldBitLayer34"})
            parameter[QString::fromLatin1(key)] = 4;
        const Map parameterRequest = map({{"cids", List{two}}, {"param", parameter}});
        QVERIFY(correction().setCabinetsMultilayerParameter(a, parameterRequest, reply = {}));
        QCOMPARE(wall().state().multilayerParameter(a, two), parameter);
        QCOMPARE(wall().state().multilayerParameter(a, one), Map());
    }

    void answersGammaTablesInEachLevelsOwnForm_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<Channel>("ofDevice");
        QTest::addColumn<Channel>("ofCabinet");
        QTest::newRow("0") << 0 << Channel::Red << Channel::Red;
        QTest::newRow("1") << 1 << Channel::Green << Channel::Blue;
        QTest::newRow("2") << 2 << Channel::Blue << Channel::Green;
    }

    void answersGammaTablesInEachLevelsOwnForm()
    {
        QFETCH(int, type);
        QFETCH(Channel, ofDevice);
        QFETCH(Channel, ofCabinet);
        const QStringList keys{QStringLiteral("redGamma"), QStringLiteral("greenGamma"), QStringLiteral("blueGamma")};
        const Map request = map({{"type", type}, {"gammaTable", QVariant::fromValue(QList<int>{4, 5})}});
        Map reply;
        QVERIFY(screens().setGammaTable(a, all, request));
        QVERIFY(cabinets().setCabinetGammaCustomValue(a, two, request, reply));
        QCOMPARE(wall().state().gamma(a, ofDevice), (QList<int>{4, 5}));
        QCOMPARE(wall().state().gamma(a, two, ofCabinet), (QList<int>{4, 5}));

        QVERIFY(screens().getGammaAllList(a, QStringLiteral("0"), reply = {}));
        for (int i = 0; i < 3; ++i) {
            const bool isSet = i == static_cast<int>(ofDevice);
            QCOMPARE(CallJournal::describe(reply.value(keys[i])),
                     isSet ? QStringLiteral("[int 4, int 5]") : QStringLiteral("[]"));
        }
        QVERIFY(cabinets().getCabinetGammaCustomValue(a, two, reply = {}));
        for (int i = 0; i < 3; ++i) {
            const bool isSet = i == static_cast<int>(ofCabinet);
            QCOMPARE(CallJournal::describe(reply.value(keys[i])),
                     isSet ? QStringLiteral("QList<int> [4, 5]") : QStringLiteral("QList<int> []"));
        }
        QVERIFY(wall().state().gamma(a, one, ofCabinet).isEmpty());
    }

    void takesGammaTablesFromOutside()
    {
        QVERIFY(wall().state().setGamma(a, Channel::Green, {1}));
        QVERIFY(wall().state().setGamma(a, two, Channel::Green, {2}));
        QVERIFY(!wall().state().setGamma(QStringLiteral("C"), Channel::Green, {1}));
        QCOMPARE(wall().state().gamma(a, Channel::Green), QList<int>{1});
        QCOMPARE(wall().state().gamma(a, two, Channel::Green), QList<int>{2});
    }

    // Refusals

    void refusesWhatNoDeviceWouldAccept_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("cabinet");
        QTest::addColumn<QVariant>("request");
        QTest::addColumn<QString>("note");
        const auto upload = [](const char *name, const QVariant &request, const char *note) {
            QTest::newRow(name) << a << one << request << QString::fromLatin1(note);
        };
        const QByteArray pixel = chromaBytes(1, 1);
        const QVariant good = blockRequest(QRect(0, 0, 1, 1), pixel);
        QTest::newRow("an unknown device") << QStringLiteral("C") << one << good << QStringLiteral("unknown device");
        QTest::newRow("an empty device key") << QString() << one << good << QStringLiteral("unknown device");
        QTest::newRow("an unknown cabinet") << a << QStringLiteral("9") << good << QStringLiteral("unknown cabinet \"9\"");
        QTest::newRow("a cabinet of another device") << b << one << good << QStringLiteral("unknown cabinet \"1\"");
        upload("no block", List(), "request holds 0 elements, not one");
        upload("two blocks", List{good.toList()[0], good.toList()[0]}, "request holds 2 elements, not one");
        upload("a text for a block", List{one}, "block is no map");
        upload("a block beyond the right edge", blockRequest(QRect(4, 0, 1, 1), pixel),
               "block 4,0 1x1 outside cabinet 1 of 4x2");
        upload("a block beyond the bottom", blockRequest(QRect(0, 1, 1, 2), chromaBytes(2, 1)),
               "block 0,1 1x2 outside cabinet 1 of 4x2");
        upload("a block left of the cabinet", blockRequest(QRect(-1, 0, 1, 1), pixel),
               "block -1,0 1x1 outside cabinet 1 of 4x2");
        upload("a block above the cabinet", blockRequest(QRect(0, -1, 1, 1), pixel),
               "block 0,-1 1x1 outside cabinet 1 of 4x2");
        upload("an empty block", blockRequest(QRect(0, 0, 0, 1), {}), "block 0,0 0x1 outside cabinet 1 of 4x2");
        upload("a block without height", blockRequest(QRect(0, 0, 1, 0), {}), "block 0,0 1x0 outside cabinet 1 of 4x2");
        upload("a block of enormous size",
               List{map({{"area", area(2147483647, 0, 2147483647, 2147483647)}, {"coefficients", QString()}})},
               "block 2147483647,0 2147483647x2147483647 outside cabinet 1 of 4x2");
        upload("too few bytes", blockRequest(QRect(0, 0, 1, 1), pixel.left(17)),
               "block of 1x1 for cabinet 1 has 17 bytes, not 18");
        upload("a text that is not base64",
               List{map({{"area", area(0, 0, 1, 1)}, {"coefficients", QStringLiteral("A?==")}})},
               "block.coefficients is not base64");
        upload("no values", List{map({{"area", area(0, 0, 1, 1)}})}, "block.coefficients is missing");
        upload("values that are no text", List{map({{"area", area(0, 0, 1, 1)}, {"coefficients", 1}})},
               "block.coefficients is int 1, which is no QString");
        upload("an additional entry", List{map({{"area", area(0, 0, 1, 1)}, {"coefficients", base64(pixel)}, {"zz", 1}})},
               "additional entries in {\"area\": {\"point\": {\"x\": int 0, \"y\": int 0}, \"size\": {\"height\": int 1, "
               "\"width\": int 1}}, \"coefficients\": \"AQABAAEAAQABAAEAAQABAAEA\", \"zz\": int 1}");
        Map wide = area(0, 0, 1, 1);
        wide.insert(QStringLiteral("size"), map({{"height", 1}, {"width", qlonglong(1)}}));
        upload("a size of another type", List{map({{"area", wide}, {"coefficients", base64(pixel)}})},
               "block.area.size.width is qlonglong 1, which is no int");
    }

    void refusesWhatNoDeviceWouldAccept()
    {
        QFETCH(QString, device);
        QFETCH(QString, cabinet);
        QFETCH(QVariant, request);
        Map reply;
        QVERIFY(!correction().uploadCoefficient(device, cabinet, request.toList(), reply));
        QCOMPARE(wall().journal().calls().last().result, false);
        QTEST(lastNote(), "note");
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));
        QCOMPARE(wall().state().chroma(b, QStringLiteral("3")), chromaValues(8, 0));
    }

    void refusesWrongParameters()
    {
        Map reply;
        const auto refused = [](bool result, const char *note) { return !result && lastNote() == QLatin1String(note); };
        List list;
        const QVariant ints = QVariant::fromValue(QList<int>());
        QVERIFY(refused(screens().setBrightness(a, all, map({{"brightness", 10001}})), "brightness 10001 out of range"));
        QVERIFY(refused(screens().setBrightness(a, all, map({{"brightness", -1}})), "brightness -1 out of range"));
        QCOMPARE(wall().state().brightness(a), 5000);
        QVERIFY(refused(screens().setGammaTable(a, all, {}), "type is missing"));
        HWInfo &hardware = *HWInfo::getInstance();
        Map locked;
        QVERIFY(refused(hardware.lock(a, {}, locked), "appids is missing"));
        QVERIFY(refused(hardware.lock(a, map({{"appids", List{1}}}), locked), "appids holds int 1, which is no text"));
        QVERIFY(refused(hardware.lock(a, map({{"appids", List{}}}), locked), "appids holds 0 elements, not one"));
        QVERIFY(refused(hardware.unLock(a, map({{"appids", List{}}})), "additional entries in {\"appids\": []}"));
        QVERIFY(refused(screens().setGammaTable(a, all, map({{"type", 3}, {"gammaTable", ints}})), "unknown gamma type 3"));
        QVERIFY(refused(screens().setGammaTable(a, all, map({{"type", 0}, {"gammaTable", List()}})),
                        "gammaTable is [], which is no QList<int>"));
        QVERIFY(refused(correction().setScreenABLEnable(a, all, map({{"enable", 1}}), reply),
                        "enable is int 1, which is no bool"));
        QVERIFY(refused(correction().saveCabinetsCoeffcient(a, cids({one, 1}), reply), "unknown cabinet int 1"));
        QVERIFY(refused(correction().saveCabinetsCoeffcient(a, map({{"cids", one}}), reply),
                        "cids is \"1\", which is no QVariantList"));
        QVERIFY(refused(correction().saveCabinetsCoeffcient(a, cids({qlonglong(0)}), reply), "unknown cabinet qlonglong 0"));
        QVERIFY(refused(correction().setMutiCabinetSolid(a, map({{"idList", List{one}}, {"type", 1}}), reply),
                        "type is int 1, which is no kind"));
        QVERIFY(
            refused(correction().getFlashCheckCode(a, one, map({{"x", 1}}), list), "additional entries in {\"x\": int 1}"));
        const List flags{map({{"id", QStringLiteral("9")}, {"flag", b}})};
        QVERIFY(refused(cabinets().setModuleflags(a, {map({{"id", qulonglong(1)}, {"moduleflags", flags}})}, reply),
                        "unknown module \"9\" of cabinet 1"));
        QVERIFY(!wall().state().setFlashCheckCode(a, one, QStringLiteral("9"), 1));
        const Map config = map({{"idList", List{qulonglong(1)}}, {"config", QStringLiteral("AQ==")}});
        QVERIFY(refused(cabinets().setSingleConfigFile(a, QStringLiteral("9"), config, reply), "unknown cabinet \"9\""));
        QVERIFY(refused(cabinets().getCabinetBrightnessRange(a, QStringLiteral("9"), reply), "unknown cabinet \"9\""));
        QVERIFY(correction().saveCabinetsCoeffcient(a, cids({}), reply));
    }

    void refusesEveryRequestSpoiltInOnePlace_data()
    {
        QTest::addColumn<QVariant>("good");
        QTest::addColumn<RequestOperation>("operation");
        const auto row = [](const char *name, const QVariant &good, const RequestOperation &operation) {
            QTest::newRow(name) << good << operation;
        };
        const auto many = [&](const char *name, const QVariant &good, MapOperation operation) {
            row(name, good, [=](const QVariant &request) {
                Map reply;
                return (correction().*operation)(a, request.toMap(), reply);
            });
        };
        const auto cabinet = [&](const char *name, const QVariant &good, auto operation) {
            row(name, good, [=](const QVariant &request) {
                Map reply;
                Map map = request.toMap();
                return (cabinets().*operation)(a, one, map, reply);
            });
        };
        const auto screen = [&](const char *name, const QVariant &good, auto operation) {
            row(name, good, [=](const QVariant &request) {
                Map reply;
                return (correction().*operation)(a, all, request.toMap(), reply);
            });
        };
        const auto list = [&](const char *name, const QVariant &good, auto operation) {
            row(name, good, [=](const QVariant &request) {
                Map reply;
                return (cabinets().*operation)(a, request.toList(), reply);
            });
        };
        const auto flash = [&](const char *name, auto operation) {
            row(name, map({{"cids", List{qulonglong(1)}}, {"type", 1}}), [=](const QVariant &request) {
                Map reply;
                Map map = request.toMap();
                return (cabinets().*operation)(a, map, reply, 1);
            });
        };
        const auto image = [&](const char *name, const QVariant &good, auto operation) {
            row(name, good, [=](const QVariant &request) {
                Map reply;
                return operation(request.toMap(), reply);
            });
        };
        const Map gamma = map({{"type", 0}, {"gammaTable", QVariant::fromValue(QList<int>{1})}});
        const Map parameter = map({{"inLayer1", 1U},
                                   {"inLayer2", 2U},
                                   {"inLayer3", 3U},
                                   {"inLayer4", 4U},
                                   {"inVldBitLayer01", 5},
                                   {"inVldBitLayer12", 6},
                                   {"inVldBitLayer23", 7},
                                   {"inVldBitLayer34", 8}});
        const List layers{map({{"inLayer", 1U}, {"inVldBitLayer", 2}})};
        const List ids{qlonglong(1)};
        const List moduleFlags{map({{"id", one}, {"flag", a}})};

        many("saving coefficients", cids(ids), &Correctionop::saveCabinetsCoeffcient);
        many("multilayer parameters", map({{"cids", ids}, {"param", parameter}}),
             &Correctionop::setCabinetsMultilayerParameter);
        many("multilayer layers", map({{"cids", ids}, {"multilayerParams", layers}}),
             &Correctionop::setCabinetsMultilayerParameterV2);
        many("solid", map({{"idList", ids}, {"type", QVariant::fromValue(Sample::LowGray)}}),
             &Correctionop::setMutiCabinetSolid);
        screen("ABL", map({{"enable", true}}), &Correctionop::setScreenABLEnable);
        screen("x-bit", map({{"mode", 1}, {"xbitEnable", true}}), &Correctionop::setScreenXBit);
        screen("effect mode", map({{"mode", 1}}), &Correctionop::setScreenEffectMode);
        row("a cabinet's effect mode", map({{"type", 1}}), [](const QVariant &request) {
            Map reply;
            return correction().setCabinetEffectMode(a, one, request.toMap(), reply);
        });
        row("brightness", map({{"brightness", 1}}),
            [](const QVariant &request) { return screens().setBrightness(a, all, request.toMap()); });
        row("gamma", gamma, [](const QVariant &request) { return screens().setGammaTable(a, all, request.toMap()); });
        cabinet("a cabinet's brightness", map({{"value", 1}}), &CabinetInfoOperator::setCabSingleBrightness);
        cabinet("a cabinet's gamma", gamma, &CabinetInfoOperator::setCabinetGammaCustomValue);
        cabinet("a cabinet's flag", map({{"flag", one}}), &CabinetInfoOperator::setCabinetFlag);
        cabinet("a configuration file", map({{"idList", ids}, {"config", QStringLiteral("AQ==")}}),
                &CabinetInfoOperator::setSingleConfigFile);
        list("flags", List{map({{"id", qulonglong(1)}, {"flag", a}})}, &CabinetInfoOperator::setCabinetSnflags);
        list("module flags", List{map({{"id", qulonglong(1)}, {"moduleflags", moduleFlags}})},
             &CabinetInfoOperator::setModuleflags);
        flash("saving flash", &CabinetInfoOperator::saveModuleCoefficient);
        flash("reloading flash", &CabinetInfoOperator::reloadModuleCoefficient);
        flash("clearing flash", &CabinetInfoOperator::clearModuleCoefficient);
        row("flash check codes", Map(), [](const QVariant &request) {
            List reply;
            return correction().getFlashCheckCode(a, one, request.toMap(), reply);
        });
        row("a block", blockRequest(QRect(0, 0, 1, 1), chromaBytes(1, 1)), [](const QVariant &request) {
            Map reply;
            return correction().uploadCoefficient(a, one, request.toList(), reply);
        });
        row("blocks", List{manyElement(qlonglong(1), QRect(0, 0, 1, 1), chromaBytes(1, 1))}, [](const QVariant &request) {
            return settledValue(correction().uploadCoefficientAsync(a, request.toList())).toBool();
        });
        image("a pixel image",
              map({{"regionrect", rectMap(0, 0, 8, 2)},
                   {"singlerect", rectMap(0, 0, 1, 1)},
                   {"color", colorMap(1, 2, 3)},
                   {"intervalX", 1},
                   {"intervalY", 2}}),
              [](const Map &request, Map &reply) { return screens().setPixelImage(a, request, reply); });
        image("a checkerboard",
              map({{"regionRect", rectMap(0, 0, 8, 2)},
                   {"firstSquareW", 1},
                   {"firstSquareH", 1},
                   {"squareW", 1},
                   {"squareH", 1},
                   {"lastSquareColumnW", 1},
                   {"lastSquareRowH", 1},
                   {"regionColor", List{colorMap(1, 2, 3)}}}),
              [](const Map &request, Map &reply) { return screens().setCheckerBoardImage(a, request, reply); });
        image("an image mode", map({{"mode", 1}}),
              [](const Map &request, Map &reply) { return screens().setPixelImageMode(a, request, reply); });
        image("a clear image", Map(), [](const Map &request, Map &) { return screens().setCorrectClearImage(a, request); });
    }

    void refusesEveryRequestSpoiltInOnePlace()
    {
        QFETCH(QVariant, good);
        QFETCH(RequestOperation, operation);
        const List requests = spoilt(good);
        QVERIFY(!requests.isEmpty());
        for (const QVariant &request : requests) {
            QVERIFY2(!operation(request), qPrintable(CallJournal::describe(request)));
            QVERIFY2(!lastNote().isEmpty(), qPrintable(CallJournal::describe(request)));
        }
        QVERIFY(operation(good));
    }

    void matchesIdsThatAreNumbers()
    {
        Device device = gridDevice(QStringLiteral("C"), QPoint(0, 9), 1, 1, QSize(1, 1), 0);
        device.subScreens[0].cabinets[0].id = QStringLiteral("007");
        wall().addDevice(device);
        Map reply;
        QVERIFY(correction().saveCabinetsCoeffcient(QStringLiteral("C"), cids({qlonglong(7)}), reply));
        QVERIFY(!correction().saveCabinetsCoeffcient(QStringLiteral("C"), cids({QStringLiteral("7")}), reply));
    }

    // Scripts

    void answersByScript()
    {
        Map reply;
        wall().scripts().on(QStringLiteral("Correctionop::getCabinetEffectMode")).answerFalse();
        QVERIFY(!correction().getCabinetEffectMode(a, one, reply));
        QVERIFY(reply.isEmpty());
        QCOMPARE(lastNote(), QString());
        wall().scripts().on(QStringLiteral("Correctionop::getCabinetEffectMode"), a, two).answer(map({{"mode", 8}}));
        QVERIFY(correction().getCabinetEffectMode(a, two, reply = {}));
        QCOMPARE(reply, map({{"mode", 8}}));
        QCOMPARE(wall().journal().calls().last().reply, QVariant(map({{"mode", 8}})));
        QVERIFY(!correction().getCabinetEffectMode(a, one, reply = {}));
        wall().scripts().on(QStringLiteral("Correctionop::getCabinetEffectMode"), b).answerFalseWith(map({{"mode", 9}}));
        QVERIFY(!correction().getCabinetEffectMode(b, QStringLiteral("3"), reply = {}));
        QCOMPARE(reply, map({{"mode", 9}}));
        wall().scripts().clear();
        QVERIFY(correction().getCabinetEffectMode(a, one, reply = {}));
        QCOMPARE(reply, map({{"mode", 0}}));
    }

    void aScriptReplacesTheWallsBehaviour()
    {
        Map reply;
        wall().scripts().on(QStringLiteral("Correctionop::setCabinetEffectMode")).answer(Map());
        QVERIFY(correction().setCabinetEffectMode(a, one, map({{"type", 3}}), reply));
        QCOMPARE(wall().state().effectMode(a, one), 0);
    }

    void laterScriptsWinWhileTheyLast()
    {
        const QString operation = QStringLiteral("HWInfo::getHWInfo");
        wall().scripts().on(operation).answer(map({{"customName", one}})).after(2);
        wall().scripts().on(operation).answer(map({{"customName", two}})).times(1);
        QStringList names;
        for (int i = 0; i < 4; ++i) {
            Map reply;
            QVERIFY(HWInfo::getInstance()->getHWInfo(a, reply, true));
            names += reply.value(QStringLiteral("customName")).toString();
        }
        QCOMPARE(names, (QStringList{two, QStringLiteral("Wall A"), one, one}));
    }

    void countsOnlyMatchingCalls()
    {
        Map reply;
        wall().scripts().on(QStringLiteral("HWInfo::getHWInfo"), a).answerFalse().after(1).times(1);
        QVERIFY(HWInfo::getInstance()->getHWInfo(b, reply, true));
        QVERIFY(HWInfo::getInstance()->getHWInfo(a, reply = {}, true));
        QVERIFY(HWInfo::getInstance()->getHWInfo(b, reply = {}, true));
        QVERIFY(!HWInfo::getInstance()->getHWInfo(a, reply = {}, true));
        QVERIFY(HWInfo::getInstance()->getHWInfo(a, reply = {}, true));
    }

    void scriptsDiscovery()
    {
        const QString operation = QStringLiteral("HttpProxy::getDeviceList");
        wall().scripts().on(operation).answer(List{map({{"key", one}, {"label", two}})});
        const QList<HttpDeviceInfo> found = HttpProxy::getInstance()->getDeviceList();
        QCOMPARE(found.size(), 1);
        QCOMPARE(found[0].key, one);
        QCOMPARE(found[0].label, two);
        wall().scripts().on(operation).answerFalse();
        QVERIFY(HttpProxy::getInstance()->getDeviceList().isEmpty());
    }

    void editsTheWallsOwnReply()
    {
        wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).editReply([](QVariant &reply) {
            List blocks = reply.toList();
            blocks.append(one);
            reply = blocks;
        });
        List reply;
        QVERIFY(correction().loadCoefficient(a, one, reply));
        QCOMPARE(reply.size(), 2);
        QCOMPARE(reply[1], QVariant(one));
        QCOMPARE(wall().journal().calls().last().reply.toList().size(), 2);
    }

    void runsHooksBeforeTheAnswer()
    {
        QStringList seen;
        wall().scripts().on(QStringLiteral("Correctionop::getCabinetEffectMode"), a, one).run([&](const Call &call) {
            seen += CallJournal::describe(call);
            Map nested;
            QVERIFY(correction().setCabinetEffectMode(a, one, map({{"type", 6}}), nested));
        });
        Map reply;
        QVERIFY(correction().getCabinetEffectMode(a, one, reply));
        QCOMPARE(reply, map({{"mode", 6}}));
        QCOMPARE(seen, QStringList{quoted("Correctionop::getCabinetEffectMode('A', '1')")});
        QCOMPARE(wall().journal().transcript(),
                 (QStringList{quoted("Correctionop::getCabinetEffectMode('A', '1')"),
                              quoted("Correctionop::setCabinetEffectMode('A', '1', {'type': int 6})")}));
    }

    void hooksMayRemoveTheirOwnScript()
    {
        wall().scripts().on(QStringLiteral("HWInfo::getHWInfo")).answerFalse().run([](const Call &) { wall().reset(); });
        Map reply;
        QVERIFY(!HWInfo::getInstance()->getHWInfo(a, reply, true));
        QCOMPARE(wall().pluggedDevices().size(), 0);
        QCOMPARE(wall().journal().calls().size(), 0);
    }

    void throwsByScript()
    {
        wall()
            .scripts()
            .on(QStringLiteral("HWInfo::lock"))
            .throwException(std::make_exception_ptr(std::runtime_error("gone")));
        Map reply;
        QVERIFY_EXCEPTION_THROWN(HWInfo::getInstance()->lock(a, {}, reply), std::runtime_error);
        QCOMPARE(wall().journal().calls().size(), 1);
        QCOMPARE(lastNote(), QStringLiteral("thrown"));
        wall()
            .scripts()
            .on(QStringLiteral("Correctionop::uploadCoefficientAsync"))
            .throwException(std::make_exception_ptr(std::bad_alloc()));
        QVERIFY_EXCEPTION_THROWN(correction().uploadCoefficientAsync(a, {}), std::bad_alloc);
    }

    void answersResponseHeaders()
    {
        const QString status = QStringLiteral("HttpResponse_StateCode");
        const QString operation = QStringLiteral("ScreenInfo::setCheckerBoardImage(responseHeader)");
        Map reply;
        Headers headers;
        QVERIFY(screens().setCheckerBoardImage(a, {}, reply, headers));
        QVERIFY(headers.size() >= 2);
        QCOMPARE(headers.value(status), QStringLiteral("200"));
        QCOMPARE(wall().state().pattern(a).type, Pattern::None);
        QVERIFY(!screens().setCheckerBoardImage(a, map({{"squareW", 1}}), reply, headers));
        QCOMPARE(headers.value(status), QStringLiteral("400"));

        Device old = gridDevice(a, QPoint(0, 0), 1, 1, QSize(4, 2));
        old.checkerboardSupported = false;
        wall().addDevice(old);
        QVERIFY(!screens().setCheckerBoardImage(a, {}, reply, headers));
        QCOMPARE(headers.value(status), QStringLiteral("404"));
        QCOMPARE(lastNote(), QStringLiteral("no checkerboard on this device"));
        QVERIFY(!screens().setCheckerBoardImage(a, {}, reply));

        const Headers custom{{QStringLiteral("x"), QStringLiteral("y")}};
        wall().scripts().on(operation).responseHeader(custom);
        QVERIFY(!screens().setCheckerBoardImage(a, {}, reply, headers = {}));
        QCOMPARE(headers, custom);
        wall().scripts().on(operation).answer(Map()).responseHeader(custom);
        QVERIFY(screens().setCheckerBoardImage(a, {}, reply, headers = {}));
        QCOMPARE(headers, custom);
        wall().scripts().on(operation).answer(Map());
        QVERIFY(screens().setCheckerBoardImage(a, {}, reply, headers = {}));
        QCOMPARE(headers.value(status), QStringLiteral("200"));
        wall().scripts().on(operation).answerFalse();
        QVERIFY(!screens().setCheckerBoardImage(a, {}, reply, headers));
        QVERIFY(headers.isEmpty());
    }

    // Uploads

    void settlesPromisesByScript()
    {
        const QString operation = QStringLiteral("Correctionop::uploadCoefficientAsync");
        const List request{manyElement(qlonglong(1), QRect(0, 0, 4, 2), chromaBytes(8, 1))};
        wall().scripts().on(operation).resolveWith(true).times(1);
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));
        wall().scripts().on(operation).resolveWith(false).times(1);
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(false));
        wall().scripts().on(operation).answerFalse().times(1);
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(false));

        wall().scripts().on(operation).reject().times(1);
        QString what;
        const Promise rejected = correction().uploadCoefficientAsync(a, request);
        rejected
            .fail([&](const std::runtime_error &error) {
                what = QString::fromLatin1(error.what());
                return false;
            })
            .wait();
        QCOMPARE(what, QStringLiteral("the upload was rejected"));
        QCOMPARE(lastNote(), QStringLiteral("rejected"));

        wall().scripts().on(operation).rejectWith(std::make_exception_ptr(42)).times(1);
        int code = 0;
        correction()
            .uploadCoefficientAsync(a, request)
            .fail([&](int error) {
                code = error;
                return false;
            })
            .wait();
        QCOMPARE(code, 42);
    }

    void settleLaterIsForPromisesOnly()
    {
        Map reply;
        wall().scripts().on(QStringLiteral("HWInfo::getHWInfo")).settleLater();
        QVERIFY(!HWInfo::getInstance()->getHWInfo(a, reply, true));
        QCOMPARE(lastNote(), QStringLiteral("the script needs an operation with a promise"));
    }

    void keepsUploadsPendingUntilSettled()
    {
        wall().scripts().on(QString()).settleLater();
        const auto request = [](qlonglong cid, quint16 value) {
            return List{manyElement(cid, QRect(0, 0, 4, 2), chromaBytes(8, value))};
        };
        const Promise first = correction().uploadCoefficientAsync(a, request(1, 1));
        const Promise other = correction().uploadCoefficientAsync(b, request(3, 3));
        const Promise second = correction().uploadLowGrayCoefficientAsync(a, request(2, 2));
        QCOMPARE(wall().uploads().pending(), 3);
        QCOMPARE(wall().uploads().pendingDevices(), (QStringList{a, b, a}));
        QVERIFY(first.isPending() && other.isPending() && second.isPending());
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));

        QVERIFY(wall().uploads().settle(a, true));
        QVERIFY(first.isFulfilled() && other.isPending() && second.isPending());
        QCOMPARE(settledValue(first), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 1));
        QCOMPARE(wall().journal().calls()[0].result, true);
        QVERIFY(wall().uploads().settle(a, false));
        QCOMPARE(settledValue(second), QVariant(false));
        QCOMPARE(wall().state().lowGray(a, two), chromaValues(8, 0));
        QVERIFY(wall().uploads().reject(b));
        QVERIFY(other.isRejected());
        QCOMPARE(wall().journal().calls()[1].note, QStringLiteral("rejected"));
        QCOMPARE(wall().uploads().pending(), 0);
        QVERIFY(!wall().uploads().settle(a, true));
        QVERIFY(!wall().uploads().reject(b));
    }

    void notesAPendingUploadThatCannotBeTaken()
    {
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        const Promise promise =
            correction().uploadCoefficientAsync(a, {manyElement(qlonglong(1), QRect(0, 0, 4, 2), chromaBytes(8, 1))});
        wall().removeDevice(a);
        QVERIFY(wall().uploads().settle(a, true));
        QCOMPARE(settledValue(promise), QVariant(true));
        QCOMPARE(lastNote(), QStringLiteral("unknown device"));
    }

    void aResetRejectsPendingUploads()
    {
        wall().scripts().on(QString()).settleLater();
        const Promise promise = correction().uploadCoefficientAsync(a, {});
        wall().reset();
        QVERIFY(promise.isRejected());
        QCOMPARE(wall().uploads().pending(), 0);
    }

    void settlesFromAnotherThread()
    {
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        const Promise promise =
            correction().uploadCoefficientAsync(a, {manyElement(qlonglong(1), QRect(0, 0, 4, 2), chromaBytes(8, 6))});
        std::thread settler([] { wall().uploads().settle(a, true); });
        promise.wait();
        settler.join();
        QCOMPARE(settledValue(promise), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 6));
    }

    void waitsForUploadsThatAnotherThreadStarts()
    {
        QVERIFY(!wall().uploads().waitForPending(1, 0));
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        bool allThere = false;
        std::thread settler([&] {
            allThere = wall().uploads().waitForPending(2);
            wall().uploads().settle(b, false);
            wall().uploads().settle(a, true);
        });
        const Promise left = correction().uploadCoefficientAsync(a, {});
        const Promise right = correction().uploadCoefficientAsync(b, {});
        left.wait();
        right.wait();
        settler.join();
        QVERIFY(allThere);
        QCOMPARE(settledValue(left), QVariant(true));
        QCOMPARE(settledValue(right), QVariant(false));
    }

    void isUsableFromManyThreads()
    {
        constexpr int rounds = 200;
        std::atomic<int> failures{0};
        const auto use = [&](const QString &device, const QString &cabinet) {
            for (int i = 0; i < rounds; ++i) {
                Map reply;
                List blocks;
                const List request = blockRequest(QRect(0, 0, 4, 2), chromaBytes(8, static_cast<quint16>(i)));
                const bool done = correction().uploadCoefficient(device, cabinet, request, reply)
                                  && correction().loadCoefficient(device, cabinet, blocks);
                const QVariant expected = request[0].toMap().value(QStringLiteral("coefficients"));
                if (!done || blocks.value(0).toMap().value(QStringLiteral("coefficients")) != expected)
                    ++failures;
            }
        };
        std::thread left(use, a, one);
        std::thread right(use, b, QStringLiteral("3"));
        for (int i = 0; i < rounds; ++i) {
            wall().scripts().on(QStringLiteral("HWInfo::lock")).answerFalse();
            wall().pictures().pattern(QStringLiteral("screen"));
        }
        left.join();
        right.join();
        QCOMPARE(failures.load(), 0);
        QCOMPARE(wall().journal().calls().size(), 4 * rounds);
        QCOMPARE(wall().journal().notes(), QStringList());
    }

    // Pictures

    void drawsACheckerboardOverTwoDevices()
    {
        // A board of 11 x 2 at 0,0 with squares of 3 x 1: A shows columns 3 3 2, B the rest, 1 2, in the last its last
        // one.
        Map reply;
        const auto board = [](const Map &region, int firstW, int lastW, const List &colors) {
            return map({{"regionRect", region},
                        {"firstSquareW", firstW},
                        {"firstSquareH", 1},
                        {"squareW", 3},
                        {"squareH", 1},
                        {"lastSquareColumnW", lastW},
                        {"lastSquareRowH", 1},
                        {"regionColor", colors}});
        };
        const Map red = colorMap(255, 0, 0);
        const Map blue = colorMap(0, 0, 255);
        const QMap<QRgb, char> letters{{0xffff0000, 'r'}, {0xff0000ff, 'b'}};
        QVERIFY(screens().setCheckerBoardImage(a, board(rectMap(0, 0, 8, 2), 3, 2, {red, blue}), reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("rrrbbbrr.... bbbrrrbb...."));
        QVERIFY(screens().setCheckerBoardImage(b, board(rectMap(0, 0, 3, 2), 1, 2, {red, blue}), reply = {}));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("rrrbbbrrrbb. bbbrrrbbbrr."));
        QCOMPARE(wall().state().pattern(a).type, Pattern::Checkers);
        QVERIFY(screens().setCorrectClearImage(a, {}));
        QCOMPARE(wall().state().pattern(a).type, Pattern::Clear);
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("........rbb. ........brr."));
    }

    void drawsOneSquareAndThreeColours()
    {
        Map reply;
        const QMap<QRgb, char> letters{{0xff010000, 'x'}, {0xff020000, 'y'}, {0xff030000, 'z'}};
        Map request = map({{"regionRect", rectMap(1, 0, 2, 2)},
                           {"firstSquareW", 2},
                           {"firstSquareH", 2},
                           {"squareW", 5},
                           {"squareH", 5},
                           {"lastSquareColumnW", 2},
                           {"lastSquareRowH", 2},
                           {"regionColor", List{colorMap(1, 0, 0), colorMap(2, 0, 0), colorMap(3, 0, 0)}}});
        QVERIFY(screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines(".xx......... .xx........."));
        for (const char *key : {"firstSquareW", "squareW", "lastSquareColumnW", "firstSquareH", "squareH", "lastSquareRowH"})
            request[QString::fromLatin1(key)] = 1;
        request[QStringLiteral("regionRect")] = rectMap(-1, 0, 6, 4);
        QVERIFY(screens().setCheckerBoardImage(a, request, reply = {}));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("yzxyz....... zxyzx......."));
    }

    void drawsAPixelImage()
    {
        Map reply;
        const QMap<QRgb, char> letters{{0xff00ff00, 'g'}};
        const Map request = map({{"regionrect", rectMap(1, 0, 7, 2)},
                                 {"singlerect", rectMap(1, 1, 2, 1)},
                                 {"color", colorMap(0, 255, 0)},
                                 {"intervalX", 1},
                                 {"intervalY", 0}});
        QVERIFY(screens().setPixelImage(a, request, reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("............ ..gg..gg...."));
        QCOMPARE(wall().state().pattern(a).request, request);
        Map dark = request;
        dark[QStringLiteral("singlerect")] = rectMap(0, 0, 0, 1);
        QVERIFY(screens().setPixelImage(b, dark, reply = {}));
        dark[QStringLiteral("singlerect")] = rectMap(0, 0, 1, 1);
        dark[QStringLiteral("intervalX")] = -1;
        QVERIFY(screens().setPixelImage(a, dark, reply = {}));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("............ ............"));
    }

    void refusesPatternsThatCannotBeDrawn()
    {
        Map reply;
        Map request = map({{"regionRect", rectMap(0, 0, 8, 2)},
                           {"firstSquareW", 1},
                           {"firstSquareH", 1},
                           {"squareW", 0},
                           {"squareH", 1},
                           {"lastSquareColumnW", 1},
                           {"lastSquareRowH", 1},
                           {"regionColor", List{colorMap(0, 0, 256)}}});
        QVERIFY(!screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(lastNote(), QStringLiteral("squareW is not positive"));
        request[QStringLiteral("squareW")] = 1;
        QVERIFY(!screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(lastNote(), QStringLiteral("regionColor.b is 256"));
        request[QStringLiteral("regionColor")] = List();
        QVERIFY(!screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(lastNote(), QStringLiteral("regionColor is empty"));
        QCOMPARE(wall().state().pattern(a).type, Pattern::None);
    }

    void drawsOnlyOntoCabinets()
    {
        Device device = gridDevice(a, QPoint(0, 0), 3, 1, QSize(2, 1));
        device.subScreens[0].cabinets.removeAt(1);
        wall().setDevices({device});
        const Map request = map({{"regionrect", rectMap(0, 0, 6, 1)},
                                 {"singlerect", rectMap(0, 0, 6, 1)},
                                 {"color", colorMap(0, 255, 0)},
                                 {"intervalX", 0},
                                 {"intervalY", 0}});
        Map reply;
        QVERIFY(screens().setPixelImage(a, request, reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), {{0xff00ff00, 'g'}}), lines("gg..gg"));
    }

    void survivesCabinetsOfImpossibleSize()
    {
        Device device = gridDevice(a, QPoint(0, 0), 2, 1, QSize(2, 2));
        device.subScreens[0].cabinets[1].size = QSize(-3, 5);
        device.subScreens[0].cabinets.append({QStringLiteral("9"), one, QPoint(0, 0), QSize(100000, 100000), {}, {}});
        wall().setDevices({device});
        List reply;
        QVERIFY(correction().loadCoefficient(a, two, reply));
        QVERIFY(reply.isEmpty());
        QVERIFY(correction().loadCoefficient(a, QStringLiteral("9"), reply));
        QVERIFY(reply.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_VirtualWall)
#include "tst_virtualwall.moc"
