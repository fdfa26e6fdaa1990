// What uploads, saves and settings change on the wall.

#include "PartTests.h"

using namespace PartTests;

class tst_State : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

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

    void keepsSettingsOfDevices()
    {
        Map reply;
        const Map delivered = settingsOf(a);
        const auto requests = settingRequests();
        for (auto it = requests.cbegin(); it != requests.cend(); ++it) {
            const Map before = settingsOf(a);
            QVERIFY(callDevice(it.key(), a, it.value()));
            const Map now = settingsOf(a);
            QSet<QString> changed;
            for (auto setting = now.cbegin(); setting != now.cend(); ++setting) {
                if (setting.value() != before.value(setting.key()))
                    changed += setting.key();
            }
            // Those that the operation sets, and no others.
            DeviceSettings::fields([&](const char *name, auto, Adapter::Operation::Id setter, const char *key) {
                QCOMPARE(changed.contains(QLatin1String(name)), setter == it.key());
                if (setter == it.key())
                    QCOMPARE(now.value(QLatin1String(name)), it->value(QLatin1String(key)));
            });
        }
        QCOMPARE(settingsOf(b), delivered);
        wall().reset();
        setUpWall();
        QCOMPARE(wall().state().settings(a).brightness, 5000);
        QCOMPARE(wall().state().brightness(a, two), 5000);
        QVERIFY(screens().setBrightness(a, all, map({{"brightness", 70}})));
        QCOMPARE(wall().state().settings(a).brightness, 70);
        QCOMPARE(wall().state().brightness(a, two), 70);
        QCOMPARE(wall().state().settings(b).brightness, 5000);
        QVERIFY(correction().setScreenEffectMode(a, all, map({{"mode", 2}}), reply));
        QCOMPARE(wall().state().settings(a).effectMode, 2);
        QCOMPARE(wall().state().effectMode(a, two), 2);
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
        QCOMPARE(wall().state().settings(a).effectMode, 0);
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
        QCOMPARE(wall().state().settings(a).gamma[static_cast<std::size_t>(ofDevice)], (QList<int>{4, 5}));
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
        QCOMPARE(wall().state().settings(a).gamma[static_cast<std::size_t>(Channel::Green)], QList<int>{1});
        QCOMPARE(wall().state().gamma(a, two, Channel::Green), QList<int>{2});
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

QTEST_GUILESS_MAIN(tst_State)
#include "tst_state.moc"
