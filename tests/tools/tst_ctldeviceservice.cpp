// Verbs that need the virtual wall are refused when another device service is linked in.

#include <session/Service.h>
#include <terminal/ExitCodes.h>

#include <QtTest/QtTest>

#include <functional>

using namespace Ctl;

Q_DECLARE_METATYPE(std::function<void()>)

class CtlDeviceServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatItCannotDoIsRefused_data();
    void whatItCannotDoIsRefused();
    void nothingIsKnownOfItsCalls();
};

void CtlDeviceServiceTest::whatItCannotDoIsRefused_data()
{
    QTest::addColumn<std::function<void()>>("call");
    QTest::addColumn<QString>("what");
    const auto row = [](const char *what, const std::function<void()> &call) {
        QTest::newRow(what) << call << QString::fromLatin1(what);
    };
    row("load a backend", [] { Service::openBackend(QStringLiteral("x.so")); });
    row("answer from a recording", [] { Service::openRecording(QStringLiteral("x.jsonl")); });
    row("hold requests back, so nothing was sent", [] { Service::holdBackWrites(); });
    row("be recorded by this program", [] { Service::record(QStringLiteral("x.jsonl")); });
    row("be described as a virtual wall", [] { Service::describe(); });
    row("make wall directories", [] { Service::create(QStringLiteral("x"), QString()); });
    row("draw pictures of itself", [] { Service::render(Service::Picture::Layout, QStringLiteral("x"), {}); });
    row("be photographed by this program", [] { Service::photograph(QStringLiteral("x"), {}, 0); });
}

void CtlDeviceServiceTest::whatItCannotDoIsRefused()
{
    QFETCH(std::function<void()>, call);
    QFETCH(QString, what);
    int exit = ExitSuccess;
    QString text;
    try {
        call();
    } catch (const Failure &failure) {
        exit = failure.exit();
        text = failure.text();
    }
    QCOMPARE(exit, int(ExitUsage));
    QCOMPARE(text, QStringLiteral("this program is linked with a device service, which cannot ") + what);
}

void CtlDeviceServiceTest::nothingIsKnownOfItsCalls()
{
    QCOMPARE(Service::name(), QStringLiteral("device service"));
    QVERIFY(!Service::hasWall() && !Service::isWall() && !Service::isWatched());
    QVERIFY(Service::keepsWhatIsSaved()); // the devices go on when the program ends
    Service::forgetExchanges();
    QVERIFY(Service::exchanges().isEmpty() && Service::heldBack().isEmpty());
    QVERIFY(Service::outcomes().isEmpty() && Service::takeRefusals().isEmpty());
    QCOMPARE(Service::replayed().answered, 0);
    QCOMPARE(Service::discovered().listed, 0);
}

QTEST_GUILESS_MAIN(CtlDeviceServiceTest)
#include "tst_ctldeviceservice.moc"
