// Faults of a device, as the caller of its operations sees them.

#include "SeamFixture.h"

#include <QtTest/QtTest>

#include <stdexcept>

using namespace Simulator;
using namespace WallTests;

Q_DECLARE_METATYPE(Simulator::Fault::Type)

namespace {

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString one = QStringLiteral("1");

QString note()
{
    return lastCall().note;
}

/// The result of an upload's promise, as text.
QString outcome(const Promise &promise)
{
    if (promise.isPending())
        return QStringLiteral("pending");
    QString result;
    promise
        .then([&](bool value) {
            result = value ? QStringLiteral("true") : QStringLiteral("false");
            return value;
        })
        .fail([&](const std::runtime_error &error) {
            result = QString::fromLatin1(error.what());
            return false;
        })
        .wait();
    return result;
}

List flags(const char *deviceKey = "A")
{
    List reply;
    CabinetInfoOperator::getInstance()->getCabAllFlags(QString::fromLatin1(deviceKey), reply);
    return reply;
}

QStringList idsOf(const List &maps)
{
    QStringList ids;
    for (const QVariant &map : maps)
        ids += map.toMap().value(QStringLiteral("id")).toString();
    return ids;
}

} // namespace

class tst_Faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        wall().reset();
        wall().timeline().setClock(ClockMode::Stepped);
        wall().setWall(smallWall());
    }
    void cleanupTestCase() { wall().reset(); }

    // Each kind: the results of a query, an upload and an upload with a promise.

    void spoilsCallsOfEveryForm_data()
    {
        QTest::addColumn<Fault::Type>("type");
        QTest::addColumn<bool>("asked");
        QTest::addColumn<bool>("uploaded");
        QTest::addColumn<QString>("promised");
        QTest::addColumn<QString>("notes");
        const QString yes = QStringLiteral("true");
        const QString no = QStringLiteral("false");
        const auto row = [](const char *name, Fault::Type type, bool asked, bool uploaded, const QString &promised,
                            const char *notes) {
            QTest::newRow(name) << type << asked << uploaded << promised << QString::fromLatin1(notes);
        };
        row("no answer", Fault::NoAnswer, false, false, no, "fault: no answer|fault: no answer|fault: no answer");
        row("a rejected upload", Fault::RejectUpload, true, false, QStringLiteral("the device rejected the upload"),
            "|fault: upload rejected|fault: upload rejected");
        row("a promise that never settles", Fault::NeverSettle, true, true, QStringLiteral("pending"),
            "||fault: never settled");
        row("a status", Fault::Status, false, false, no, "fault: status 503|fault: status 503|fault: status 503");
        row("a restart", Fault::Restart, false, false, no,
            "fault: device restarted|fault: device restarted|fault: device restarted");
        row("a vanishing device", Fault::Vanish, false, false, no,
            "fault: device vanished|the device is unplugged|the device is unplugged");
        row("a missing key", Fault::MissingKey, true, true, yes, "fault: missing key||");
    }

    void spoilsCallsOfEveryForm()
    {
        QFETCH(Fault::Type, type);
        Fault spoilt = fault(type);
        spoilt.status = QStringLiteral("503");
        if (type == Fault::Vanish)
            spoilt.times = 1;
        QVERIFY(wall().faults().add(a, spoilt));
        QTEST(ask("A"), "asked");
        Map reply;
        const Map many = uploadOf(1, 3).first().toMap();
        const Map block = many.value(QStringLiteral("coefficientList")).toList().first().toMap();
        List request;
        request.append(Map{{QStringLiteral("area"), block.value(QStringLiteral("area"))},
                           {QStringLiteral("coefficients"), block.value(QStringLiteral("coefficient"))}});
        QTEST(Correctionop::getInstance()->uploadCoefficient(a, one, request, reply), "uploaded");
        const Promise promise = upload("A", 1, 4);
        QTEST(outcome(promise), "promised");
        QStringList notes;
        const QList<Call> calls = wall().journal().calls();
        for (const Call &call : calls)
            notes += call.note;
        QTEST(notes.join(QLatin1Char('|')), "notes");
        QVERIFY(ask("B"));
        QCOMPARE(note(), QString());
    }

    void whatIsNotAnsweredDoesNotHappen()
    {
        QVERIFY(wall().faults().add(a, fault(Fault::NoAnswer)));
        QCOMPARE(outcome(upload("A", 1, 4)), QStringLiteral("false"));
        QCOMPARE(wall().state().chroma(a, one), plane(8, 0));
        QVERIFY(wall().faults().add(a, fault(Fault::RejectUpload)));
        upload("A", 1, 4);
        QVERIFY(lastCall().rejected);
        QVERIFY(lastCall().settled);
        QCOMPARE(wall().state().chroma(a, one), plane(8, 0));
    }

    void aLateAnswerIsAnAnswer()
    {
        Fault late = fault(Fault::LateAnswer, "HWInfo::getHWInfo");
        late.milliseconds = 700;
        QVERIFY(wall().faults().add(a, late));
        QVERIFY(ask("A"));
        QCOMPARE(lastCall().duration, qint64(700000));
        QCOMPARE(note(), QStringLiteral("fault: late answer"));
        late.operation = QStringLiteral("Correctionop::uploadCoefficientAsync");
        QVERIFY(wall().faults().add(a, late));
        const Promise promise = upload("A", 1, 4);
        QVERIFY(promise.isPending());
        wall().timeline().advance(700);
        QCOMPARE(outcome(promise), QStringLiteral("true"));
    }

    void aPendingUploadEndsWithTheDevice()
    {
        QVERIFY(wall().faults().add(a, fault(Fault::NeverSettle)));
        const Promise promise = upload("A", 1, 4);
        wall().timeline().advance(1000000);
        QVERIFY(promise.isPending());
        QCOMPARE(wall().uploads().pendingDevices(), QStringList{a});
        QVERIFY(!lastCall().settled);
        QVERIFY(wall().unplug(a));
        QCOMPARE(outcome(promise), QStringLiteral("the device was unplugged"));
        QVERIFY(lastCall().settled);
        QCOMPARE(lastCall().duration, qint64(1000000) * 1000);
    }

    void anUploadToAnUnpluggedDeviceIsNeverPending()
    {
        QVERIFY(wall().faults().add(a, fault(Fault::NeverSettle)));
        QVERIFY(wall().unplug(a));
        const Promise promise = upload("A", 1, 4);
        QCOMPARE(outcome(promise), QStringLiteral("the device is unplugged"));
        QCOMPARE(wall().uploads().pending(), 0);
        QVERIFY(lastCall().settled);
        QVERIFY(lastCall().rejected);
        QVERIFY(wall().plug(a));
        QVERIFY(upload("A", 1, 4).isPending());
    }

    void aStatusGoesIntoTheHeaders()
    {
        Fault teapot = fault(Fault::Status);
        teapot.status = QStringLiteral("418");
        QVERIFY(wall().faults().add(a, teapot));
        Map reply;
        Headers headers;
        QVERIFY(!ScreenInfo::getInstance()->setCheckerBoardImage(a, {}, reply, headers));
        QCOMPARE(headers.value(QStringLiteral("HttpResponse_StateCode")), QStringLiteral("418"));
        QVERIFY(headers.size() > 1);
    }

    void aVanishedDeviceTellsAndMayComeBack()
    {
        Fault vanish = fault(Fault::Vanish);
        vanish.times = 1;
        QVERIFY(wall().faults().add(a, vanish));
        QSignalSpy changed(Quorvex::Communicator::HttpDevice::HttpProxy::getInstance(),
                           &Quorvex::Communicator::HttpDevice::HttpProxy::deviceChanged);
        QVERIFY(!ask("A"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(discovered(), QStringList{b});
        QVERIFY(wall().plug(a));
        QVERIFY(ask("A"));
    }

    void aRestartLosesWhatWasNotSaved()
    {
        QCOMPARE(outcome(upload("A", 1, 5)), QStringLiteral("true"));
        QVERIFY(save("A", 1));
        QCOMPARE(outcome(upload("A", 1, 6)), QStringLiteral("true"));
        Fault restart = fault(Fault::Restart);
        restart.times = 1;
        QVERIFY(wall().faults().add(a, restart));
        QVERIFY(!ask("A"));
        QCOMPARE(wall().state().chroma(a, one), plane(8, 5));
    }

    // Damaged replies

    void truncatesEveryList()
    {
        QVERIFY(wall().faults().add(a, fault(Fault::TruncateReply)));
        const List reply = flags();
        QCOMPARE(idsOf(reply), QStringList{one});
        QVERIFY(reply[0].toMap().value(QStringLiteral("recvcardflags")).toList().isEmpty());
        QCOMPARE(note(), QStringLiteral("fault: truncated reply"));
        QVERIFY(ask("A")); // a reply without lists
        QCOMPARE(note(), QString());
        QVERIFY(wall().state().setGamma(a, one, Channel::Red, {1, 2, 3}));
        Map gamma;
        QVERIFY(CabinetInfoOperator::getInstance()->getCabinetGammaCustomValue(a, one, gamma));
        QCOMPARE(gamma.value(QStringLiteral("redGamma")).value<QList<int>>(), QList<int>{1});
    }

    void shufflesEveryListAndNothingElse()
    {
        const List whole = flags();
        QVERIFY(wall().faults().add(a, fault(Fault::ShuffleReply)));
        for (int i = 0; i < 20; ++i) {
            const List reply = flags();
            QVERIFY(reply != whole);
            QCOMPARE(idsOf(reply), (QStringList{QStringLiteral("2"), one})); // the only other order of two
            QStringList modules;
            const List cards = reply[1].toMap().value(QStringLiteral("recvcardflags")).toList();
            for (const QVariant &card : cards)
                modules += idsOf(card.toMap().value(QStringLiteral("moduleflags")).toList());
            QVERIFY(modules != (QStringList{QStringLiteral("0"), one, QStringLiteral("2"), QStringLiteral("3")}));
            modules.sort();
            QCOMPARE(modules, (QStringList{QStringLiteral("0"), one, QStringLiteral("2"), QStringLiteral("3")}));
        }
        QCOMPARE(note(), QStringLiteral("fault: shuffled reply"));
    }

    void removesOrRetypesANamedEntryEverywhere()
    {
        Fault missing = fault(Fault::MissingKey);
        missing.key = QStringLiteral("id");
        QVERIFY(wall().faults().add(a, missing));
        List reply = flags();
        QVERIFY(!reply[0].toMap().contains(QStringLiteral("id")));
        QVERIFY(reply[0].toMap().contains(QStringLiteral("flag")));
        const Map card = reply[1].toMap().value(QStringLiteral("recvcardflags")).toList().first().toMap();
        QVERIFY(!card.contains(QStringLiteral("id")));
        QVERIFY(card.contains(QStringLiteral("width")));
        QVERIFY(ask("A")); // has no such entry
        QCOMPARE(note(), QString());

        missing.type = Fault::WrongType;
        QVERIFY(wall().faults().add(a, missing)); // the newest counts
        reply = flags();
        QCOMPARE(int(reply[0].toMap().value(QStringLiteral("id")).userType()), int(QMetaType::QVariantMap));
        QCOMPARE(int(reply[0].toMap().value(QStringLiteral("flag")).userType()), int(QMetaType::QString));
        QCOMPARE(note(), QStringLiteral("fault: wrong type"));
        missing.key = QStringLiteral("recvcardflags");
        QVERIFY(wall().faults().add(a, missing));
        QCOMPARE(flags()[0].toMap().value(QStringLiteral("recvcardflags")), QVariant(1));
        missing.key = QStringLiteral("width");
        QVERIFY(wall().faults().add(a, missing));
        const Map retyped = flags()[1].toMap().value(QStringLiteral("recvcardflags")).toList().first().toMap();
        QCOMPARE(int(retyped.value(QStringLiteral("width")).userType()), int(QMetaType::QString));
    }

    void drawsAnEntryOfEveryMap()
    {
        const List whole = flags();
        const auto sizes = [](const List &maps) {
            QList<int> result;
            for (const QVariant &map : maps)
                result += map.toMap().size();
            return result;
        };
        QVERIFY(wall().faults().add(a, fault(Fault::MissingKey)));
        QSet<QString> kept;
        for (int i = 0; i < 30; ++i) {
            const List reply = flags();
            QCOMPARE(sizes(reply), (QList<int>{2, 2}));
            const QStringList keys = reply[0].toMap().keys();
            for (const QString &key : keys)
                kept.insert(key);
        }
        QCOMPARE(sizes(whole), (QList<int>{3, 3}));
        QCOMPARE(kept.size(), 3); // not always the same one
    }

    void drawsTheSameFromTheSameSeed()
    {
        QVERIFY(wall().faults().add(a, fault(Fault::ShuffleReply)));
        QVERIFY(wall().faults().add(b, fault(Fault::WrongType)));
        wall().faults().setSeed(7);
        const QVariantList first{flags(), flags("B"), flags()};
        wall().faults().setSeed(7);
        QCOMPARE((QVariantList{flags(), flags("B"), flags()}), first);
        wall().faults().setSeed(8);
        QVERIFY((QVariantList{flags(), flags("B"), flags()}) != first);
    }

    void dirtiesCoefficientsAndConfigurations()
    {
        QVERIFY(wall().state().setConfigFile(a, one, QByteArray("abc")));
        QVERIFY(wall().faults().add(a, fault(Fault::DirtyBase64)));
        Map reply;
        QVERIFY(CabinetInfoOperator::getInstance()->getConfigFile(a, one, reply));
        QCOMPARE(reply.value(QStringLiteral("config")).toString(), QStringLiteral("!WJj"));
        List blocks;
        QVERIFY(Correctionop::getInstance()->loadCoefficient(a, one, blocks));
        const QString text = blocks[0].toMap().value(QStringLiteral("coefficients")).toString();
        QCOMPARE(text.size(), 192);
        QCOMPARE(text.count(QLatin1Char('!')), 3);
        QCOMPARE(note(), QStringLiteral("fault: dirty base64"));
        QVERIFY(ask("A"));
        QCOMPARE(note(), QString());
    }

    // Which calls

    void countsTheCallsThatItIsMeantFor()
    {
        Fault some = fault(Fault::NoAnswer, "HWInfo::getHWInfo");
        some.after = 1;
        some.times = 2;
        QVERIFY(wall().faults().add(a, some));
        QList<bool> answers;
        for (int i = 0; i < 5; ++i) {
            flags();
            ask("B");
            answers += ask("A");
        }
        QCOMPARE(answers, (QList<bool>{true, false, false, true, true}));
    }

    void rejectionsCountUploadsOnly()
    {
        Fault second = fault(Fault::RejectUpload);
        second.after = 1;
        QVERIFY(wall().faults().add(a, second));
        ask("A");
        ask("A");
        QCOMPARE(outcome(upload("A", 1, 1)), QStringLiteral("true"));
        QCOMPARE(outcome(upload("A", 1, 1)), QStringLiteral("the device rejected the upload"));
    }

    void isMeantForATarget()
    {
        Fault load = fault(Fault::NoAnswer);
        load.target = QStringLiteral("2");
        QVERIFY(wall().faults().add(a, load));
        List reply;
        QVERIFY(Correctionop::getInstance()->loadCoefficient(a, one, reply));
        QVERIFY(!Correctionop::getInstance()->loadCoefficient(a, QStringLiteral("2"), reply = {}));
    }

    void theLastFaultCountsAndScriptsComeFirst()
    {
        WallDescription description = smallWall();
        description.devices[0].personality = QStringLiteral("silent");
        Fault late = fault(Fault::LateAnswer, "HWInfo::getHWInfo");
        late.milliseconds = 5;
        description.devices[0].faults = {late};
        wall().setWall(description);
        QVERIFY(ask("A"));
        QCOMPARE(note(), QStringLiteral("fault: late answer"));
        QVERIFY(flags().isEmpty());
        wall().scripts().on(QStringLiteral("HWInfo::getHWInfo")).answerFalse().times(1);
        QVERIFY(!ask("A"));
        QCOMPARE(note(), QString());
        wall().scripts().on(QStringLiteral("CabinetInfoOperator::getCabAllFlags")).answer(List{one});
        QCOMPARE(flags(), List{one});
    }

    /// Where a script gives no reply, the fault does.
    void hooksAndEditsOfAScriptGoWithAFault()
    {
        QVERIFY(wall().faults().add(a, fault(Fault::TruncateReply)));
        int hooks = 0;
        int seen = -1;
        wall().scripts().on(QString()).run([&](const Call &) { ++hooks; }).editReply([&](QVariant &reply) {
            seen = reply.toList().size();
        });
        flags();
        QCOMPARE(hooks, 1);
        QCOMPARE(seen, 1);
        QCOMPARE(note(), QStringLiteral("fault: truncated reply"));
    }

    void clearsFaultsButNotThePersonality()
    {
        WallDescription description = smallWall();
        description.devices[0].personality = QStringLiteral("rejects uploads");
        description.devices[0].faults = {fault(Fault::NoAnswer)};
        wall().setWall(description);
        QVERIFY(wall().faults().add(a, fault(Fault::NoAnswer)));
        QCOMPARE(wall().wall().devices[0].faults.size(), 2);
        QVERIFY(!ask("A"));
        QVERIFY(wall().faults().clear(a));
        QVERIFY(wall().wall().devices[0].faults.isEmpty());
        QVERIFY(ask("A"));
        QVERIFY(upload("A", 1, 1).isRejected());
        QVERIFY(!wall().faults().add(QStringLiteral("C"), fault(Fault::NoAnswer)));
        QVERIFY(!wall().faults().clear(QStringLiteral("C")));
    }
};

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
