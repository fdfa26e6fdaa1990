// Calls whose replies a program provides itself.

#include "PartTests.h"
#include "support/Nested.h"

#include <stdexcept>

using namespace PartTests;

class tst_Scripts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

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

    void deepRepliesNeedNoDeepStack_data()
    {
        QTest::addColumn<QString>("what");
        for (const char *what : {"answer", "answerFalseWith", "editReply", "a power loss after editReply"})
            QTest::addRow("%s", what) << QString::fromLatin1(what);
    }
    /// The reply of a script, and what the journal keeps of it.
    void deepRepliesNeedNoDeepStack()
    {
        QFETCH(QString, what);
        const QString operation = QStringLiteral("Correctionop::getCabinetEffectMode");
        int levels = 0;
        QString line;
        TestSupport::onSmallStack([&] {
            QVariant deep = TestSupport::nested(30000, QStringLiteral("lm"));
            Script &script = wall().scripts().on(operation, a);
            if (what == QLatin1String("answer"))
                script.answer(deep);
            else if (what == QLatin1String("answerFalseWith"))
                script.answerFalseWith(deep);
            else
                script.editReply([&](QVariant &reply) {
                    reply.swap(deep);
                    if (what.startsWith(QLatin1String("a power loss")))
                        wall().unplug(a);
                });
            Map map;
            correction().getCabinetEffectMode(a, one, map);
            line = wall().journal().transcript().last() + QString::fromUtf8(wall().journal().jsonLines());
            QVariant reply;
            reply.setValue(map);
            map.clear();
            levels = TestSupport::levelsOf(reply);
            Nesting::release(reply);
            wall().scripts().clear();
            Nesting::release(deep);
        });
        const bool isLost = what.startsWith(QLatin1String("a power loss"));
        QCOMPARE(levels, what == QLatin1String("editReply") ? 30000 : isLost ? 1 : 100);
        QVERIFY(line.contains(operation));
        const Call logged = wall().journal().calls().last();
        QCOMPARE(TestSupport::levelsOf(logged.reply), isLost ? 0 : 100);
        QCOMPARE(logged.note, what == QLatin1String("editReply")
                                  ? QStringLiteral("the reply is nested deeper than 100 levels: the rest is left out")
                              : isLost ? logged.note
                                       : QString());
        QCOMPARE(logged.result, what == QLatin1String("answer") || what == QLatin1String("editReply"));
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
};

QTEST_GUILESS_MAIN(tst_Scripts)
#include "tst_scripts.moc"
