// What the journal keeps of calls, and how it shows them.

#include "PartTests.h"

using namespace PartTests;

class tst_CallJournal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

    void describesValues_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const QVariant &value, const char *text) {
            QTest::newRow(name) << value << quoted(text);
        };
        row("an invalid value", {}, "invalid");
        row("a text", QStringLiteral("a\"b\\\n\r\t\x01\x1f"), "'a\\'b\\\\\\n\\r\\t\\u0001\\u001f'");
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

    void notesAReplyThatIsNotEmpty()
    {
        Map reply = map({{"left", 1}});
        QVERIFY(correction().getCabinetEffectMode(a, one, reply));
        QCOMPARE(reply, map({{"mode", 0}}));
        QCOMPARE(wall().journal().notes(),
                 QStringList{QStringLiteral("Correctionop::getCabinetEffectMode(\"A\", \"1\") -- the reply was not passed "
                                            "in empty")});
    }
};

QTEST_GUILESS_MAIN(tst_CallJournal)
#include "tst_calljournal.moc"
