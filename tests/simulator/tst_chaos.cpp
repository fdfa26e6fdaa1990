// A host on a wall with random faults at random moments, in a thousand rounds.

#include "SeamFixture.h"

#include <Correction/CabinetManager.h>
#include <Correction/Correction.h>
#include <support/LogCapture.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>
#include <QtCore/QtEndian>
#include <QtTest/QtTest>

#include <functional>
#include <memory>
#include <random>

using namespace Simulator;
using namespace WallTests;
using Correction::CabinetManager;
using Correction::ScreenManager;

namespace {

/// The bytes of a block, from a request or a plane, row by row.
QByteArray cut(const QByteArray &plane, int columns, const QRect &rect)
{
    constexpr int pixel = 18;
    QByteArray bytes;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        bytes += plane.mid((y * columns + rect.left()) * pixel, rect.width() * pixel);
    return bytes;
}

/// A host that calls random operations.
class Host
{
public:
    Host(quint64 seed, const QString &folder) : m_random(seed), m_file(folder + QStringLiteral("/config")) {}

    /// Runs one operation. Returns what was wrong with the result; empty if nothing was.
    QString act()
    {
        m_signals = 0;
        const auto counter =
            QObject::connect(ScreenManager::getInstance(), &ScreenManager::signal_screenChanged, [this] { ++m_signals; });
        const QMap<QString, QByteArray> saved = users();
        const int before = wall().journal().calls().size();
        m_changesSaved = false;
        const QString wrong = actOnce();
        QObject::disconnect(counter);
        if (!wrong.isEmpty())
            return wrong;
        if (!m_changesSaved && users() != saved)
            return QStringLiteral("what was saved has changed");
        return uploadsArrived(wall().journal().calls().mid(before));
    }

    int checkedUploads = 0;
    int checkedReads = 0;

private:
    int draw(int count) { return static_cast<int>(m_random() % static_cast<quint64>(count)); }

    static QMap<QString, QByteArray> users()
    {
        QMap<QString, QByteArray> planes;
        const WallDescription description = wall().wall();
        for (const Device &device : description.devices) {
            for (const SubScreen &subScreen : device.subScreens) {
                for (const Cabinet &cabinet : subScreen.cabinets) {
                    const QString &id = cabinet.id;
                    planes[id] = wall().state().plane(device.key, id, Kind::Chroma, Store::User)
                                 + wall().state().plane(device.key, id, Kind::Chroma, Store::Flash);
                }
            }
        }
        return planes;
    }

    /// Devices without a fault hold the values whose upload they confirmed.
    QString uploadsArrived(const QList<Call> &calls)
    {
        QStringList notes;
        for (const Call &call : calls)
            notes += call.note;
        if (m_signals > 0 || !notes.join(QString()).isEmpty())
            return QString();
        for (const Call &call : calls) {
            if (!call.settled)
                return QStringLiteral("an upload is pending that the host has waited for");
            if (call.operation != QLatin1String("Correctionop::uploadCoefficientAsync") || !call.result)
                continue;
            const List elements = call.request.toList();
            for (const QVariant &element : elements) {
                const QString id = element.toMap().value(QStringLiteral("cid")).toString();
                const Map block = element.toMap().value(QStringLiteral("coefficientList")).toList().first().toMap();
                const Map area = block.value(QStringLiteral("area")).toMap();
                const Map point = area.value(QStringLiteral("point")).toMap();
                const Map size = area.value(QStringLiteral("size")).toMap();
                const QRect rect(point.value(QStringLiteral("x")).toInt(), point.value(QStringLiteral("y")).toInt(),
                                 size.value(QStringLiteral("width")).toInt(), size.value(QStringLiteral("height")).toInt());
                const QByteArray sent =
                    QByteArray::fromBase64(block.value(QStringLiteral("coefficient")).toString().toLatin1());
                if (cut(wall().state().plane(call.deviceKey, id, Kind::Chroma), 4, rect) != sent)
                    return QStringLiteral("cabinet %1 does not hold what it took").arg(id);
                ++checkedUploads;
            }
        }
        return QString();
    }

    static QString known(int code)
    {
        // A screen write returns the bitwise OR of its devices' codes.
        return code >= 0 && code <= 15 ? QString() : QStringLiteral("result code %1").arg(code);
    }

    QString actOnce()
    {
        auto *const manager = ScreenManager::getInstance();
        const QStringList ids = manager->getNameMapping().keys();
        if (ids.isEmpty() || draw(8) == 0)
            return known(manager->refreshScreen());
        Correction::IScreen *const screen = manager->tryGetScreen(ids[draw(ids.size())]);
        Correction::ICabinet *const cabinet = CabinetManager::getInstance()->tryGetCabinet(QString::number(1 + draw(12)));
        const int operation = draw(32);
        if (operation < 16 || !cabinet)
            return actOnScreen(*screen, operation % 16);
        return actOnCabinet(*cabinet, operation % 16);
    }

    QString actOnScreen(Correction::IScreen &screen, int operation)
    {
        switch (operation) {
        case 0:
        case 1:
        case 2:
        case 3: {
            const QRect rect(draw(10), draw(3), 1 + draw(14), 1 + draw(3));
            Correction::Coefficient grid(rect.width(), rect.height());
            QVector<unsigned short> values = plane(rect.width() * rect.height(), quint16(draw(65536)));
            grid.setCoefficient(values);
            return known(screen.setCoefficients(rect, grid));
        }
        case 4:
            m_changesSaved = true;
            return known(screen.saveParameter(Correction::EnumSaveType(draw(4))));
        case 5:
            m_changesSaved = true;
            return known(screen.clearCoefficient(Correction::EnumCoefficientType(draw(3))));
        case 6: {
            QRect rect;
            screen.tryGetRect(rect);
            if (qint64(rect.width()) * rect.height() > 10000)
                return QString();
            Correction::Coefficient grid(rect.width(), rect.height());
            return known(screen.tryGetCoefficients(rect, grid));
        }
        case 7:
            return known(screen.setBrightness(draw(12000) - 1000));
        case 8: {
            QMap<Correction::EnumGammaType, QList<int>> tables{{Correction::enRedGamma, {1, 2, draw(3)}}};
            return known(screen.setGammaTable(tables)) + known(screen.getGammaTable(tables));
        }
        case 9: {
            Correction::EnumEffectMode mode{};
            return known(screen.setEffectMode(Correction::EnumEffectMode(draw(4)))) + known(screen.tryGetEffectMode(mode));
        }
        case 10: {
            Correction::DrawingParameter parameter;
            parameter.screenPartRect = QRect(draw(4), draw(2), 1 + draw(12), 1 + draw(4));
            parameter.pixelBlockInRect = QRect(0, 0, 1 + draw(2), 1);
            parameter.pixelBlockIntervalX = 1;
            parameter.pixelBlockIntervalY = 1;
            return known(screen.setPixelImage(parameter)) + known(screen.setPixelImageMode(1));
        }
        case 11: {
            Correction::DrawingCheckerboard board;
            board.regionRect = QRect(0, 0, 12, 4);
            board.squareW = board.squareH = board.lastSquareColumnW = board.lastSquareRowH = 2;
            board.colors = {QColor(Qt::red), QColor(Qt::blue)};
            return known(screen.setCheckerboardlImage(board));
        }
        case 12: {
            QMap<QString, bool> features;
            QVector<Correction::CabinetBaseInfo> support;
            return known(screen.getFeatures(features)) + known(screen.getScreenSupport(support));
        }
        case 13:
            return known(screen.lock()) + known(screen.unLock());
        case 14: {
            Correction::BrightnessRange range;
            QList<Correction::CabinetInfo> cabinets;
            return known(screen.getBrightnessRange(range)) + known(screen.tryGetAllCabinetInfoList(cabinets));
        }
        default:
            return known(screen.setABLEnable(true)) + known(screen.setXBit(Correction::EnumXBitMode(1), true));
        }
    }

    QString actOnCabinet(Correction::ICabinet &cabinet, int operation)
    {
        Correction::CabinetInfo info;
        cabinet.GetCabinetInfo(info);
        switch (operation) {
        case 0:
        case 1:
        case 2: {
            if (info.rect.size() != QSize(4, 2)) // a failed refresh
                return QString();
            Correction::Coefficient grid(4, 2);
            const int code = cabinet.tryGetCoefficients(grid);
            const QByteArray there = wall().state().plane(cabinet.getDeviceKey(), cabinet.getID(), Kind::Chroma);
            const QVector<unsigned short> values = grid.getCoefficient();
            QByteArray read(2 * values.size(), Qt::Uninitialized);
            qToLittleEndian<quint16>(values.constData(), values.size(), read.data());
            if (code == 0 && lastCall().note.isEmpty() && m_signals == 0) {
                ++checkedReads;
                if (read != there)
                    return QStringLiteral("cabinet %1 was read wrongly").arg(cabinet.getID());
            }
            return known(code);
        }
        case 3:
        case 4: {
            Correction::Coefficient grid(2, 1);
            QVector<unsigned short> values = plane(2, quint16(draw(65536)));
            grid.setCoefficient(values);
            return known(cabinet.setCoefficients(QPoint(draw(4), draw(2)), grid));
        }
        case 5:
            m_changesSaved = true;
            return known(cabinet.saveParameter(Correction::EnumSaveType(draw(3))));
        case 6:
            return known(cabinet.applyCoeffcient(Correction::EnumCoefficientType(draw(3))));
        case 7: {
            Correction::BrightnessRange range;
            return known(cabinet.setBrightness(draw(10000))) + known(cabinet.getBrightnessRange(range));
        }
        case 8: {
            QMap<Correction::EnumGammaType, QList<int>> tables{{Correction::enGreenGamma, {draw(9)}}};
            return known(cabinet.setGammaTable(tables)) + known(cabinet.getGammaTable(tables));
        }
        case 9:
            return known(cabinet.getConfigFile(m_file)) + known(cabinet.setConfigFile(m_file));
        case 10:
            return known(cabinet.setFlag(QString::number(draw(5))))
                   + known(cabinet.setCabinetflags(QString::number(draw(5))));
        case 11: {
            Correction::EnumEffectMode mode{};
            return known(cabinet.setEffectMode(Correction::EnumEffectMode(draw(4)))) + known(cabinet.tryGetEffectMode(mode));
        }
        case 12: {
            QList<Correction::RxCardFlashCheckInfo> cards;
            return known(cabinet.getFlashCheckInfo(cards)) + known(cabinet.IsSupportFlash());
        }
        case 13:
            m_changesSaved = true;
            return known(cabinet.saveModuleCoefficient(draw(4))) + known(cabinet.reloadModuleCoefficient(draw(4)));
        case 14:
            m_changesSaved = true;
            return known(cabinet.clearModuleCoefficient(draw(4)));
        default: {
            Correction::CabinetBaseInfo support;
            QList<Correction::CabinetsModuleFlag> flags;
            return known(cabinet.getCabinetSupport(support)) + known(cabinet.setModuleflags(flags));
        }
        }
    }

    std::mt19937_64 m_random;
    const QString m_file;
    int m_signals = 0;
    bool m_changesSaved = false; ///< The operation may change what is saved.
};

/// Three devices with four cabinets of 4 x 2 pixels each, side by side; everything takes a while.
WallDescription wildWall(quint64 seed)
{
    WallDescription description;
    description.seed = seed;
    const char *const keys[] = {"A", "B", "C"};
    for (int i = 0; i < 3; ++i) {
        Device device = gridDevice(QString::fromLatin1(keys[i]), QPoint(8 * i, 0), 2, 2, QSize(4, 2), 4 * i + 1);
        device.timing.latency = 20;
        device.timing.jitter = 100;
        device.timing.settleInThread = seed % 50 == 0 && i == 1;
        description.devices += device;
    }
    return description;
}

/// Begins with a host that has found everything, so that a round depends on nothing before it.
void begin(quint64 seed)
{
    wall().reset();
    wall().timeline().setClock(ClockMode::Skipping);
    wall().setWall(wildWall(seed));
    wall().faults().setChaos(0.0);
    ScreenManager::getInstance()->refreshScreen();
    wall().faults().setChaos(0.1);
    wall().journal().clear();
}

} // namespace

class tst_Chaos : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
        m_log = std::make_unique<TestSupport::LogCapture>();
        ScreenManager::getInstance()->init();
    }
    void init() { wall().reset(); }
    void cleanupTestCase()
    {
        wall().reset();
        m_log.reset();
    }

    void survivesAThousandRounds()
    {
        constexpr int rounds = 1000;
        constexpr int actions = 20;
        int uploads = 0;
        int reads = 0;
        QMap<QString, int> notes;
        for (int round = 1; round <= rounds; ++round) {
            begin(static_cast<quint64>(round));
            Host host(static_cast<quint64>(round), m_folder.path());
            for (int i = 0; i < actions; ++i) {
                const QString wrong = host.act();
                QVERIFY2(wrong.isEmpty(),
                         qPrintable(QStringLiteral("round %1, action %2: %3").arg(round).arg(i).arg(wrong)));
                m_log->clear();
            }
            QCOMPARE(wall().uploads().pending(), 0);
            uploads += host.checkedUploads;
            reads += host.checkedReads;
            const QList<Call> calls = wall().journal().calls();
            for (const Call &call : calls) {
                const QStringList parts = call.note.split(QStringLiteral("; "), Qt::SkipEmptyParts);
                for (const QString &part : parts) {
                    if (part.startsWith(QLatin1String("chaos: ")))
                        ++notes[part.mid(7).section(QLatin1Char(' '), -2)];
                }
            }
        }
        // Every kind of operation and fault has occurred.
        QVERIFY2(uploads > 500 && reads > 500, qPrintable(QStringLiteral("%1 and %2").arg(uploads).arg(reads)));
        QStringList expected = QStringLiteral("status 404,status 500,status 503,unplugged before,plugged before,"
                                              "renamed before,restarted before")
                                   .split(QLatin1Char(','));
#define FAULT(type, name, calls, note, about)                                                                               \
    if (Fault::type != Fault::Status)                                                                                       \
        expected += QStringLiteral(note);
#include <simulator/FaultTypes.def>
        for (const QString &what : qAsConst(expected))
            QVERIFY2(notes.take(what) > 0, qPrintable(what));
        QCOMPARE(notes.keys(), QStringList());
    }

    void comesFromTheSeedAlone()
    {
        const auto run = [this](quint64 seed) {
            begin(seed);
            Host host(3, m_folder.path());
            for (int i = 0; i < 60; ++i)
                host.act();
            QStringList lines;
            const QList<Call> calls = wall().journal().calls();
            for (const Call &call : calls) {
                lines += CallJournal::describe(call) + QLatin1Char(' ') + CallJournal::describe(call.reply)
                         + QLatin1Char(' ') + call.note + QStringLiteral(" %1 %2").arg(call.time).arg(call.duration);
            }
            return lines;
        };
        const QStringList first = run(17);
        QCOMPARE(run(17), first);
        QVERIFY(run(18) != first);
    }

    void aShareOfAllCallsGoesWrong()
    {
        WallDescription description = smallWall();
        wall().timeline().setClock(ClockMode::Stepped);
        wall().setWall(description);
        const auto spoilt = [] {
            wall().journal().clear();
            wall().faults().setSeed(1);
            for (int i = 0; i < 2000; ++i)
                discovered();
            return wall().journal().notes().size();
        };
        QCOMPARE(spoilt(), 0);
        wall().faults().setChaos(0.2);
        const int some = spoilt(); // devices come, go, restart and get new names; not all of which change anything
        QVERIFY2(some > 100 && some < 500, qPrintable(QString::number(some)));
    }

private:
    QTemporaryDir m_folder;
    std::unique_ptr<TestSupport::LogCapture> m_log;
};

QTEST_GUILESS_MAIN(tst_Chaos)
#include "tst_chaos.moc"
