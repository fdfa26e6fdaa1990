// Requests that no device would accept.

#include "PartTests.h"

using namespace PartTests;

class tst_Requests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

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
        upload("a text for a block", List{one}, "block is not a map");
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
               "block.coefficients is int 1, not QString");
        upload("an additional entry", List{map({{"area", area(0, 0, 1, 1)}, {"coefficients", base64(pixel)}, {"zz", 1}})},
               "additional entries in {\"area\": {\"point\": {\"x\": int 0, \"y\": int 0}, \"size\": {\"height\": int 1, "
               "\"width\": int 1}}, \"coefficients\": \"AQABAAEAAQABAAEAAQABAAEA\", \"zz\": int 1}");
        Map wide = area(0, 0, 1, 1);
        wide.insert(QStringLiteral("size"), map({{"height", 1}, {"width", qlonglong(1)}}));
        upload("a size of another type", List{map({{"area", wide}, {"coefficients", base64(pixel)}})},
               "block.area.size.width is qlonglong 1, not int");
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

    void refusesCallsWithoutADevice()
    {
        for (const Adapter::Operation &operation : Adapter::operations()) {
            if (operation.address == Adapter::Address::Wall)
                continue;
            Call call;
            call.operation = operation.name; // the device key stays null
            const bool isPromise = operation.reply == Adapter::Form::Promise;
            const QVariant result = isPromise ? settledValue(wall().upload(call)) : wall().answer(call).result;
            QVERIFY2(!result.isNull() && !result.toBool(), qPrintable(operation.name));
            QCOMPARE(lastNote(), QStringLiteral("unknown device"));
        }
    }

    void refusesWrongParameters()
    {
        Map reply;
        const auto refused = [](bool result, const char *note) { return !result && lastNote() == QLatin1String(note); };
        List list;
        const QVariant ints = QVariant::fromValue(QList<int>());
        QVERIFY(refused(screens().setBrightness(a, all, map({{"brightness", 10001}})), "brightness 10001 out of range"));
        QVERIFY(refused(screens().setBrightness(a, all, map({{"brightness", -1}})), "brightness -1 out of range"));
        QCOMPARE(wall().state().settings(a).brightness, 5000);
        QVERIFY(refused(screens().setGammaTable(a, all, {}), "type is missing"));
        HWInfo &hardware = *HWInfo::getInstance();
        Map locked;
        QVERIFY(refused(hardware.lock(a, {}, locked), "appids is missing"));
        QVERIFY(refused(hardware.lock(a, map({{"appids", List{1}}}), locked), "appids holds int 1, which is not a string"));
        QVERIFY(refused(hardware.lock(a, map({{"appids", List{}}}), locked), "appids holds 0 elements, not one"));
        QVERIFY(refused(hardware.unLock(a, map({{"appids", List{}}})), "additional entries in {\"appids\": []}"));
        QVERIFY(refused(screens().setGammaTable(a, all, map({{"type", 3}, {"gammaTable", ints}})), "unknown gamma type 3"));
        QVERIFY(refused(screens().setGammaTable(a, all, map({{"type", 0}, {"gammaTable", List()}})),
                        "gammaTable is [], not QList<int>"));
        QVERIFY(refused(correction().setScreenABLEnable(a, all, map({{"enable", 1}}), reply), "enable is int 1, not bool"));
        QVERIFY(refused(correction().saveCabinetsCoeffcient(a, cids({one, 1}), reply), "unknown cabinet int 1"));
        QVERIFY(
            refused(correction().saveCabinetsCoeffcient(a, map({{"cids", one}}), reply), "cids is \"1\", not QVariantList"));
        QVERIFY(refused(correction().saveCabinetsCoeffcient(a, cids({qlonglong(0)}), reply), "unknown cabinet qlonglong 0"));
        QVERIFY(refused(correction().setMutiCabinetSolid(a, map({{"idList", List{one}}, {"type", 1}}), reply),
                        "type is int 1, which is not a kind of coefficients"));
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
        const auto settings = settingRequests();
        for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
            row(Adapter::operations()[it.key()].name.toLatin1(), it.value(),
                [operation = it.key()](const QVariant &request) { return callDevice(operation, a, request); });
        }
        row("a cabinet's effect mode", map({{"type", 1}}), [](const QVariant &request) {
            Map reply;
            return correction().setCabinetEffectMode(a, one, request.toMap(), reply);
        });
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
};

QTEST_GUILESS_MAIN(tst_Requests)
#include "tst_requests.moc"
