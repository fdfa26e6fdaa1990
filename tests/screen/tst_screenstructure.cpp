#include "support/LogCapture.h"

#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <memory>
#include <optional>
#include <type_traits>

using namespace Correction;
using TestSupport::LogCapture;

namespace {

// Compile-time facts: screens and sub-screens are deleted through their interfaces and hold their described members
// only.
static_assert(std::has_virtual_destructor<IScreen>::value && std::has_virtual_destructor<ISubScreen>::value, "");
static_assert(std::is_abstract<IScreen>::value && std::is_abstract<ISubScreen>::value, "");
static_assert(sizeof(IScreen) == sizeof(void *) && sizeof(ISubScreen) == sizeof(void *), "");
static_assert(sizeof(ScreenV4) == sizeof(IScreen) + sizeof(QMap<QString, ISubScreen *>) + 2 * sizeof(QString), "");
static_assert(sizeof(SubScreenV4) == sizeof(ISubScreen) + sizeof(QMap<QString, QString>) + sizeof(QString), "");

/// A sub-screen that records its end.
class HostSubScreen final : public SubScreenV4
{
public:
    explicit HostSubScreen(const QString &name) : SubScreenV4(QString()), m_name(name) { ++alive; }
    ~HostSubScreen() override
    {
        --alive;
        ends.append(m_name);
    }

    static int alive;
    static QStringList ends; ///< names in the order in which their sub-screens ended

private:
    QString m_name;
};

int HostSubScreen::alive = 0;
QStringList HostSubScreen::ends;

/// What the library's sub-screens log when they end.
QStringList linesOfEnds(int count)
{
    QStringList lines;
    for (int i = 0; i < count; ++i)
        lines += QStringLiteral("SubScreenV4");
    return lines;
}

ISubScreen *subScreen(const char *name)
{
    return new HostSubScreen(QString::fromLatin1(name));
}

} // namespace

class tst_ScreenStructure : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_log.emplace(); }
    void cleanupTestCase() { m_log.reset(); }
    void init()
    {
        m_wall.reset();
        m_log->clear();
        HostSubScreen::ends.clear();
    }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        QCOMPARE(HostSubScreen::alive, 0);
        QCOMPARE(m_wall.journal().transcript(), QStringList()); // the structure needs no request
    }

    void aNewScreenIsEmpty();
    void anAddedSubScreenIsFound();
    void anUnknownKeyHasNoSubScreen_data();
    void anUnknownKeyHasNoSubScreen();
    void aSecondSubScreenOfAKeyIsNeitherStoredNorDeleted();
    void aNullSubScreenIsStored();
    void removalDeletesTheSubScreen();
    void removalOfAnUnknownKeyIsFalse_data();
    void removalOfAnUnknownKeyIsFalse();
    void removalOfANullEntryErasesIt();
    void removalOfAllDeletesInKeyOrder();
    void removalOfAllErasesNullEntries();
    void removalOfAllOfAnEmptyScreenSaysSoAndIsHarmless();
    void aRemovedKeyCanBeAddedAgain();
    void theDestructorDeletesTheSubScreens();
    void theInterfaceDeletesTheSubScreensToo();
    void theSubScreensOfTheLibraryAreDeleted();
    void theNameIsStored();
    void theIdIsStored();

private:
    Simulator::VirtualWall &m_wall = Simulator::VirtualWall::instance();
    std::optional<LogCapture> m_log; // made after the test library has installed its own handler
};

void tst_ScreenStructure::aNewScreenIsEmpty()
{
    ScreenV4 screen;
    QVERIFY(screen.getName().isEmpty());
    QVERIFY(screen.getID().isEmpty());
    QRect rect;
    QCOMPARE(screen.tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect());
}

void tst_ScreenStructure::anAddedSubScreenIsFound()
{
    ScreenV4 screen;
    ISubScreen *const first = subScreen("first");
    ISubScreen *const second = subScreen("second");
    QVERIFY(screen.addSubScreen(QStringLiteral("A"), first));
    QVERIFY(screen.addSubScreen(QString(), second)); // any text is a key
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("A")), first);
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("")), second);
}

void tst_ScreenStructure::anUnknownKeyHasNoSubScreen_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("line");

    const auto row = [](const char *name, const char *key) {
        const QString text = QString::fromLatin1(key);
        QTest::newRow(name) << text << QString(QStringLiteral("Cannot find SubScreen. SubScreen key: ") + text);
    };
    row("a key that is not there", "B");
    row("a key in other letters", "a");
    row("a longer key", "A ");
    row("an empty key", "");
    row("a key with a placeholder", "%1%2");
    row("a key with quotes and a line end", "\"B\"\n");
}

void tst_ScreenStructure::anUnknownKeyHasNoSubScreen()
{
    QFETCH(const QString, key);
    QFETCH(const QString, line);

    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), subScreen("first"));
    QVERIFY(!screen.tryGetSubScreen(key));
    QCOMPARE(m_log->takeCritical(), QStringList{line});
    QVERIFY(!screen.tryGetSubScreen(key)); // asking adds no entry
    QCOMPARE(m_log->takeCritical(), QStringList{line});
}

void tst_ScreenStructure::aSecondSubScreenOfAKeyIsNeitherStoredNorDeleted()
{
    ScreenV4 screen;
    ISubScreen *const first = subScreen("first");
    const std::unique_ptr<ISubScreen> second(subScreen("second"));
    QVERIFY(screen.addSubScreen(QStringLiteral("A%2"), first));
    QVERIFY(!screen.addSubScreen(QStringLiteral("A%2"), second.get()));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Subscreen is already exist. SubScreen key: A%2")});
    QVERIFY(!screen.addSubScreen(QStringLiteral("A%2"), nullptr));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Subscreen is already exist. SubScreen key: A%2")});
    QVERIFY(!screen.addSubScreen(QStringLiteral("A%2"), first));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Subscreen is already exist. SubScreen key: A%2")});
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("A%2")), first);
    QCOMPARE(HostSubScreen::alive, 2);
}

void tst_ScreenStructure::aNullSubScreenIsStored()
{
    ScreenV4 screen;
    QVERIFY(screen.addSubScreen(QStringLiteral("A"), nullptr));
    QVERIFY(!screen.tryGetSubScreen(QStringLiteral("A")));
    VERIFY_NO_CRITICAL(*m_log); // the key is there
    const std::unique_ptr<ISubScreen> another(subScreen("another"));
    QVERIFY(!screen.addSubScreen(QStringLiteral("A"), another.get()));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Subscreen is already exist. SubScreen key: A")});
}

void tst_ScreenStructure::removalDeletesTheSubScreen()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), subScreen("first"));
    ISubScreen *const second = subScreen("second");
    screen.addSubScreen(QStringLiteral("B"), second);
    QVERIFY(screen.removeSubScreen(QStringLiteral("A")));
    QCOMPARE(HostSubScreen::ends, QStringList{QStringLiteral("first")});
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("B")), second);
    QVERIFY(!screen.tryGetSubScreen(QStringLiteral("A")));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Cannot find SubScreen. SubScreen key: A")});
}

void tst_ScreenStructure::removalOfAnUnknownKeyIsFalse_data()
{
    anUnknownKeyHasNoSubScreen_data();
}

void tst_ScreenStructure::removalOfAnUnknownKeyIsFalse()
{
    QFETCH(const QString, key);
    QFETCH(const QString, line);

    ScreenV4 screen;
    ISubScreen *const first = subScreen("first");
    screen.addSubScreen(QStringLiteral("A"), first);
    QVERIFY(!screen.removeSubScreen(key));
    QCOMPARE(m_log->takeCritical(), QStringList{line});
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("A")), first);
    QCOMPARE(HostSubScreen::alive, 1);
}

void tst_ScreenStructure::removalOfANullEntryErasesIt()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), nullptr);
    QVERIFY(screen.removeSubScreen(QStringLiteral("A")));
    QVERIFY(!screen.removeSubScreen(QStringLiteral("A")));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Cannot find SubScreen. SubScreen key: A")});
}

void tst_ScreenStructure::removalOfAllDeletesInKeyOrder()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("9"), subScreen("third"));
    screen.addSubScreen(QStringLiteral("10"), subScreen("first"));
    screen.addSubScreen(QStringLiteral("2"), subScreen("second"));
    screen.removeSubScreens();
    QCOMPARE(HostSubScreen::ends, QStringList({QStringLiteral("first"), QStringLiteral("second"), QStringLiteral("third")}));
    QCOMPARE(m_log->takeDebug(), QStringList{QStringLiteral("removeSubScreens")} + linesOfEnds(3));
    QVERIFY(!screen.tryGetSubScreen(QStringLiteral("10")));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Cannot find SubScreen. SubScreen key: 10")});
}

void tst_ScreenStructure::removalOfAllErasesNullEntries()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), nullptr);
    screen.addSubScreen(QStringLiteral("B"), subScreen("second"));
    screen.addSubScreen(QStringLiteral("C"), nullptr);
    screen.removeSubScreens();
    QCOMPARE(HostSubScreen::ends, QStringList{QStringLiteral("second")});
    for (const char *key : {"A", "B", "C"})
        QVERIFY(!screen.removeSubScreen(QString::fromLatin1(key)));
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Cannot find SubScreen. SubScreen key: A"),
                                                 QStringLiteral("Cannot find SubScreen. SubScreen key: B"),
                                                 QStringLiteral("Cannot find SubScreen. SubScreen key: C")}));
    QCOMPARE(m_log->takeDebug(), QStringList{QStringLiteral("removeSubScreens")} + linesOfEnds(1));
}

void tst_ScreenStructure::removalOfAllOfAnEmptyScreenSaysSoAndIsHarmless()
{
    ScreenV4 screen;
    screen.removeSubScreens();
    screen.removeSubScreens();
    QCOMPARE(m_log->takeDebug(), QStringList({QStringLiteral("removeSubScreens"), QStringLiteral("removeSubScreens")}));
}

void tst_ScreenStructure::aRemovedKeyCanBeAddedAgain()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), subScreen("first"));
    screen.removeSubScreen(QStringLiteral("A"));
    ISubScreen *const second = subScreen("second");
    QVERIFY(screen.addSubScreen(QStringLiteral("A"), second));
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("A")), second);
    screen.removeSubScreens();
    ISubScreen *const third = subScreen("third");
    QVERIFY(screen.addSubScreen(QStringLiteral("A"), third));
    QCOMPARE(screen.tryGetSubScreen(QStringLiteral("A")), third);
}

void tst_ScreenStructure::theDestructorDeletesTheSubScreens()
{
    {
        ScreenV4 screen;
        screen.addSubScreen(QStringLiteral("B"), subScreen("second"));
        screen.addSubScreen(QStringLiteral("C"), nullptr);
        screen.addSubScreen(QStringLiteral("A"), subScreen("first"));
    }
    QCOMPARE(HostSubScreen::ends, QStringList({QStringLiteral("first"), QStringLiteral("second")}));
    QCOMPARE(m_log->takeDebug(), linesOfEnds(2));
}

void tst_ScreenStructure::theInterfaceDeletesTheSubScreensToo()
{
    std::unique_ptr<IScreen> screen = std::make_unique<ScreenV4>();
    screen->addSubScreen(QStringLiteral("A"), subScreen("first"));
    screen.reset();
    QCOMPARE(HostSubScreen::ends, QStringList{QStringLiteral("first")});
}

void tst_ScreenStructure::theSubScreensOfTheLibraryAreDeleted()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), new SubScreenV4(QStringLiteral("A")));
    screen.addSubScreen(QStringLiteral("B"), new SubScreenV4(QStringLiteral("B")));
    QVERIFY(screen.removeSubScreen(QStringLiteral("B")));
    QCOMPARE(m_log->takeDebug(), QStringList{QStringLiteral("SubScreenV4")});
    screen.removeSubScreens();
    QCOMPARE(m_log->takeDebug(), QStringList({QStringLiteral("removeSubScreens"), QStringLiteral("SubScreenV4")}));
}

void tst_ScreenStructure::theNameIsStored()
{
    ScreenV4 screen;
    QString name = QStringLiteral("Lobby");
    screen.setName(name);
    name += QLatin1Char('!');
    QCOMPARE(screen.getName(), QStringLiteral("Lobby"));
    QVERIFY(screen.getID().isEmpty());
    screen.getName() += QLatin1Char('!');
    QCOMPARE(screen.getName(), QStringLiteral("Lobby"));
    screen.setName(QString());
    QVERIFY(screen.getName().isEmpty());
}

void tst_ScreenStructure::theIdIsStored()
{
    ScreenV4 screen;
    QString id = QStringLiteral("{17}");
    screen.setID(id);
    id.clear();
    QCOMPARE(screen.getID(), QStringLiteral("{17}"));
    QVERIFY(screen.getName().isEmpty());
    screen.getID().clear();
    QCOMPARE(screen.getID(), QStringLiteral("{17}"));
    screen.setID(QStringLiteral("{18}"));
    QCOMPARE(screen.getID(), QStringLiteral("{18}"));
}

QTEST_GUILESS_MAIN(tst_ScreenStructure)

#include "tst_screenstructure.moc"
