// The device's own rules, run over the tables of docs/store.md.

#include "SettingTests.h"

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>
#include <support/Files.h>
#include <support/Maps.h>

#include <QtTest/QtTest>

#include <array>
#include <functional>

using namespace Simulator;
using namespace SettingTests;
using TestSupport::map;

Q_DECLARE_METATYPE(Simulator::Kind)

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

const QString key = QStringLiteral("A");
const QSize cabinetSize(4, 2);
const QStringList ids{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
const QStringList kindNames{QStringLiteral("chroma"), QStringLiteral("multilayer"), QStringLiteral("low gray")};
const QStringList storeNames{QStringLiteral("Working"), QStringLiteral("User"), QStringLiteral("Factory"),
                             QStringLiteral("Module"), QStringLiteral("Flash")};

VirtualWall &wall()
{
    return VirtualWall::instance();
}

int planeLength(int kind)
{
    const int pixels = cabinetSize.width() * cabinetSize.height();
    return pixels * (kind == int(Kind::Multilayer) ? 16 : 18);
}

/// A plane that no other place has; every byte differs from its neighbours.
QByteArray sample(int kind, int number)
{
    QByteArray bytes(planeLength(kind), '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(31 * number + 7 * i + kind + 1);
    return bytes;
}

/// All planes of all cabinets, by the name of their place.
using Planes = QMap<QString, QByteArray>;

QString place(const QString &id, int kind, int store)
{
    return QStringLiteral("cabinet %1 %2 %3").arg(id, kindNames[kind], storeNames[store]);
}

Planes allPlanes()
{
    Planes planes;
    for (const QString &id : ids) {
        for (int kind = 0; kind < kindNames.size(); ++kind) {
            for (int store = 0; store < storeNames.size(); ++store)
                planes[place(id, kind, store)] = wall().state().plane(key, id, Kind(kind), Store(store));
        }
    }
    return planes;
}

QStringList differences(const Planes &a, const Planes &b)
{
    QStringList result;
    for (auto it = a.cbegin(); it != a.cend(); ++it) {
        if (it.value() != b.value(it.key()))
            result += it.key();
    }
    return result;
}

Map block(int kind, int number, const char *valuesKey)
{
    const Map size = map({{"width", cabinetSize.width()}, {"height", cabinetSize.height()}});
    return map({{"area", map({{"size", size}, {"point", map({{"x", 0}, {"y", 0}})}})},
                {valuesKey, QString::fromLatin1(sample(kind, number).toBase64())}});
}

/// The rows of a table of docs/store.md, without its head; cells without backquotes.
QVector<QStringList> table(const char *name)
{
    QFile file(QStringLiteral(STORE_RULES));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.readAll());
    const int start = text.indexOf(QStringLiteral("<!-- table: %1 -->").arg(QLatin1String(name)));
    QVector<QStringList> rows;
    const QStringList lines = text.mid(start).split(QLatin1Char('\n')).mid(3);
    for (const QString &line : lines) {
        if (!line.startsWith(QLatin1Char('|')))
            break;
        QStringList cells = line.split(QLatin1Char('|')).mid(1);
        cells.removeLast();
        for (QString &cell : cells)
            cell = cell.remove(QLatin1Char('`')).trimmed();
        rows += cells;
    }
    return rows;
}

/// How an operation is called; it gets the cabinets 1 and 3, or 1 where it takes only one.
using Operation = std::function<bool(const QVariant &request)>;

const QMap<QString, Operation> &operations()
{
    using Request = bool (Correctionop::*)(const QString &, const Map &, Map &);
    using Upload = bool (Correctionop::*)(const QString &, const QString &, const List &, Map &);
    using Load = bool (Correctionop::*)(const QString &, const QString &, List &);
    using Async = QtPromise::QPromise<bool> (Correctionop::*)(const QString &, const List &);
    using Flash = bool (CabinetInfoOperator::*)(const QString &, Map &, Map &, int);
    static const QMap<QString, Operation> all = [] {
        QMap<QString, Operation> result;
        const auto add = [&](const char *name, const Operation &operation) {
            result.insert(QString::fromLatin1(name), operation);
        };
        const auto request = [](Request operation) {
            return [operation](const QVariant &argument) {
                Map reply;
                return (Correctionop::getInstance()->*operation)(key, argument.toMap(), reply);
            };
        };
        const auto upload = [](Upload operation) {
            return [operation](const QVariant &argument) {
                Map reply;
                return (Correctionop::getInstance()->*operation)(key, ids[0], argument.toList(), reply);
            };
        };
        const auto load = [](Load operation) {
            return [operation](const QVariant &) {
                List reply;
                return (Correctionop::getInstance()->*operation)(key, ids[0], reply);
            };
        };
        const auto async = [](Async operation) {
            return [operation](const QVariant &argument) {
                bool fulfilled = false;
                (Correctionop::getInstance()->*operation)(key, argument.toList())
                    .then([&](bool value) { fulfilled = value; })
                    .wait();
                return fulfilled;
            };
        };
        const auto flash = [](Flash operation) {
            return [operation](const QVariant &argument) {
                Map typed = argument.toMap();
                typed.insert(QStringLiteral("type"), 1);
                Map reply;
                return (CabinetInfoOperator::getInstance()->*operation)(key, typed, reply, 100);
            };
        };
        using C = Correctionop;
        add("Correctionop::loadCoefficient", load(&C::loadCoefficient));
        add("Correctionop::loadMultilayerCoefficient", load(&C::loadMultilayerCoefficient));
        add("Correctionop::uploadCoefficient", upload(&C::uploadCoefficient));
        add("Correctionop::uploadMultilayerCoefficient", upload(&C::uploadMultilayerCoefficient));
        add("Correctionop::uploadLowgrayCoefficient", upload(&C::uploadLowgrayCoefficient));
        add("Correctionop::uploadCoefficientAsync", async(&C::uploadCoefficientAsync));
        add("Correctionop::uploadMultilayerCoefficientAsync", async(&C::uploadMultilayerCoefficientAsync));
        add("Correctionop::uploadLowGrayCoefficientAsync", async(&C::uploadLowGrayCoefficientAsync));
        add("Correctionop::saveCabinetsCoeffcient", request(&C::saveCabinetsCoeffcient));
        add("Correctionop::saveCabinetsMultilayerCoeffcient", request(&C::saveCabinetsMultilayerCoeffcient));
        add("Correctionop::saveCabinetsLowgrayCoeffcient", request(&C::saveCabinetsLowgrayCoeffcient));
        add("Correctionop::setMutiCabinetSolid", request(&C::setMutiCabinetSolid));
        add("Correctionop::saveCabinetsFactoryCoefficient", request(&C::saveCabinetsFactoryCoefficient));
        add("Correctionop::saveCabinetsModuleCoefficient", request(&C::saveCabinetsModuleCoefficient));
        add("Correctionop::showCabinetsCoefficient", request(&C::showCabinetsCoefficient));
        add("Correctionop::applyCabinetsLowgrayCoeffcient", request(&C::applyCabinetsLowgrayCoeffcient));
        add("Correctionop::showCabinetsFactoryCoefficient", request(&C::showCabinetsFactoryCoefficient));
        add("Correctionop::showCabinetsModuleCoefficient", request(&C::showCabinetsModuleCoefficient));
        add("Correctionop::clearCabinetsUserCoefficient", request(&C::clearCabinetsUserCoefficient));
        add("Correctionop::clearCabinetsMultilayerCoefficient", request(&C::clearCabinetsMultilayerCoefficient));
        add("Correctionop::clearCabinetsLowgrayCoefficient", request(&C::clearCabinetsLowgrayCoefficient));
        add("CabinetInfoOperator::saveModuleCoefficient", flash(&CabinetInfoOperator::saveModuleCoefficient));
        add("CabinetInfoOperator::reloadModuleCoefficient", flash(&CabinetInfoOperator::reloadModuleCoefficient));
        add("CabinetInfoOperator::clearModuleCoefficient", flash(&CabinetInfoOperator::clearModuleCoefficient));
        return result;
    }();
    return all;
}

/// A part of a device's persistent state, with functions that set it to a value of its own and read it.
struct Kept {
    std::function<bool()> set;
    std::function<QVariant()> get;
};

QVariant variant(const QList<int> &values)
{
    return QVariant::fromValue(values);
}

const QMap<QString, Kept> &things()
{
    static const QMap<QString, Kept> all = [] {
        QMap<QString, Kept> result;
        const auto add = [&](const char *name, const std::function<bool()> &set, const std::function<QVariant()> &get) {
            result.insert(QString::fromLatin1(name), {set, get});
        };
        const QString id = ids[1];
        const QString module = QStringLiteral("2");
        const QString screen = QStringLiteral("255");
        for (int store = 0; store < storeNames.size(); ++store) {
            // Shown as a list, by kind.
            add(
                storeNames[store].toLatin1().constData(),
                [=] {
                    for (int kind = 0; kind < kindNames.size(); ++kind) {
                        if (!wall().state().setPlane(key, id, Kind(kind), sample(kind, 10 + store), Store(store)))
                            return false;
                    }
                    return true;
                },
                [=] {
                    List planes;
                    for (int kind = 0; kind < kindNames.size(); ++kind)
                        planes += wall().state().plane(key, id, Kind(kind), Store(store));
                    return QVariant(planes);
                });
        }
        add(
            "flash check codes of modules", [=] { return wall().state().setFlashCheckCode(key, id, module, 7); },
            [=] { return wall().state().flashCheckCode(key, id, module); });
        add(
            "settings of a device",
            [] {
                bool good = true;
                const auto requests = settingRequests();
                for (auto it = requests.cbegin(); it != requests.cend(); ++it)
                    good = callDevice(it.key(), key, it.value()) && good;
                return good;
            },
            [] { return QVariant(settingsOf(key)); });
        add(
            "brightness of a cabinet",
            [=] {
                Map request = map({{"value", 301}});
                Map reply;
                return CabinetInfoOperator::getInstance()->setCabSingleBrightness(key, id, request, reply);
            },
            [=] { return wall().state().brightness(key, id); });
        add(
            "effect mode of a cabinet",
            [=] {
                Map reply;
                return Correctionop::getInstance()->setCabinetEffectMode(key, id, map({{"type", 3}}), reply);
            },
            [=] { return wall().state().effectMode(key, id); });
        const auto gammaOf = [](const std::function<QList<int>(Channel)> &table) {
            return List{variant(table(Channel::Red)), variant(table(Channel::Green)), variant(table(Channel::Blue))};
        };
        add(
            "gamma tables of a device",
            [=] {
                bool good = true;
                for (int type = 0; type < 3; ++type) {
                    const Map request = map({{"type", type}, {"gammaTable", variant({type, 5, -9})}});
                    good = ScreenInfo::getInstance()->setGammaTable(key, screen, request) && good;
                }
                return good;
            },
            [=] {
                return gammaOf(
                    [](Channel channel) { return wall().state().settings(key).gamma[static_cast<std::size_t>(channel)]; });
            });
        add(
            "gamma tables of a cabinet",
            [=] {
                bool good = true;
                for (int type = 0; type < 3; ++type) {
                    const Map request = map({{"type", type}, {"gammaTable", variant({6, type, 2000000000})}});
                    Map reply;
                    good = CabinetInfoOperator::getInstance()->setCabinetGammaCustomValue(key, id, request, reply) && good;
                }
                return good;
            },
            [=] { return gammaOf([=](Channel channel) { return wall().state().gamma(key, id, channel); }); });
        add(
            "multilayer parameter",
            [=] {
                const Map parameter = map({{"inLayer1", 4000000000u},
                                           {"inLayer2", 2u},
                                           {"inLayer3", 3u},
                                           {"inLayer4", 4u},
                                           {"inVldBitLayer01", -1},
                                           {"inVldBitLayer12", 12},
                                           {"inVldBitLayer23", 23},
                                           {"inVldBitLayer34", 34}});
                Map reply;
                return Correctionop::getInstance()->setCabinetsMultilayerParameter(
                    key, map({{"cids", List{id}}, {"param", parameter}}), reply);
            },
            [=] { return wall().state().multilayerParameter(key, id); });
        add(
            "multilayer parameters",
            [=] {
                const List layers{map({{"inLayer", 9u}, {"inVldBitLayer", 8}}),
                                  map({{"inLayer", 7u}, {"inVldBitLayer", 6}})};
                Map reply;
                return Correctionop::getInstance()->setCabinetsMultilayerParameterV2(
                    key, map({{"cids", List{id}}, {"multilayerParams", layers}}), reply);
            },
            [=] { return wall().state().multilayerParameters(key, id); });
        add(
            "configuration file",
            [=] {
                const QString config = QString::fromLatin1(QByteArrayLiteral("any bytes").toBase64());
                Map reply;
                return CabinetInfoOperator::getInstance()->setSingleConfigFile(
                    key, id, map({{"idList", List{id}}, {"config", config}}), reply);
            },
            [=] { return wall().state().configFile(key, id); });
        add(
            "flag of a cabinet",
            [=] {
                Map request = map({{"flag", QStringLiteral("a \"flag\"\n\u00e9")}});
                Map reply;
                return CabinetInfoOperator::getInstance()->setCabinetFlag(key, id, request, reply);
            },
            [=] { return wall().state().flag(key, id); });
        add(
            "flags of modules",
            [=] {
                const List flags{map({{"id", module}, {"flag", QStringLiteral("m")}})};
                Map reply;
                return CabinetInfoOperator::getInstance()->setModuleflags(key, {map({{"id", id}, {"moduleflags", flags}})},
                                                                          reply);
            },
            [=] { return wall().state().moduleFlag(key, id, module); });
        add(
            "screen name", [=] { return wall().renameScreen(key, QStringLiteral("Another")); },
            [=] { return wall().pluggedDevices().first().screenName; });
        add(
            "image mode",
            [=] {
                Map reply;
                return ScreenInfo::getInstance()->setPixelImageMode(key, map({{"mode", 2}}), reply);
            },
            [=] { return wall().state().imageMode(key); });
        add(
            "test image", [=] { return ScreenInfo::getInstance()->setCorrectClearImage(key, Map()); },
            [=] { return int(wall().state().pattern(key).type); });
        add(
            "lock",
            [=] {
                Map reply;
                return HWInfo::getInstance()->lock(key, map({{"appids", List{QStringLiteral("me")}}}), reply);
            },
            [=] { return wall().state().lockOwner(key); });
        return result;
    }();
    return all;
}

WallDescription description(const QString &personality = QString())
{
    WallDescription wallDescription;
    Device device = gridDevice(key, QPoint(), 3, 1, cabinetSize);
    device.personality = personality;
    device.subScreens[0].cabinets[1].flag = QStringLiteral("delivered");
    device.subScreens[0].cabinets[1].receivingCards[0].modules[2].flag = QStringLiteral("delivered module");
    wallDescription.devices = {device};
    wallDescription.defaultPixels[0] = QByteArray::fromHex("0180");
    return wallDescription;
}

/// A folder for a wall. Closes the wall at the end.
struct Folder {
    ~Folder() { wall().close(); }
    QTemporaryDir parent;
    QString directory = parent.filePath(QStringLiteral("wall"));
};

} // namespace

class tst_Store : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void everyOperationIsInTheTable();
    void anOperationDoesWhatTheTableSays_data();
    void anOperationDoesWhatTheTableSays();
    void everyThingIsInTheTable();
    void aRestartDoesWhatTheTableSays_data();
    void aRestartDoesWhatTheTableSays();
    void aDirectoryOfVersionOneOpens();
};

void tst_Store::cleanup()
{
    wall().reset();
}

void tst_Store::everyOperationIsInTheTable()
{
    QStringList names;
    const QVector<QStringList> rows = table("operations");
    for (const QStringList &row : rows) {
        QCOMPARE(row.size(), 6);
        names += row[0];
    }
    names.sort();
    QCOMPARE(names, QStringList(operations().keys()));
}

void tst_Store::anOperationDoesWhatTheTableSays_data()
{
    QTest::addColumn<QStringList>("row");
    QTest::addColumn<int>("kind");
    const QVector<QStringList> rows = table("operations");
    for (const QStringList &row : rows) {
        for (int kind = 0; kind < kindNames.size(); ++kind) {
            if (row[1] == kindNames[kind] || row[1] == QLatin1String("by type"))
                QTest::newRow(qPrintable(row[0] + QStringLiteral(" of ") + kindNames[kind])) << row << kind;
        }
    }
}

void tst_Store::anOperationDoesWhatTheTableSays()
{
    QFETCH(QStringList, row);
    QFETCH(int, kind);
    const QString none = QStringLiteral("-");
    const Folder folder;
    const QString &directory = folder.directory;
    QString error;
    QVERIFY2(wall().create(directory, description(), &error), qPrintable(error));

    Planes expected;
    for (const QString &id : ids) {
        for (int k = 0; k < kindNames.size(); ++k) {
            for (int store = 0; store < storeNames.size(); ++store) {
                const QByteArray bytes = sample(k, expected.size());
                QVERIFY(wall().state().setPlane(key, id, Kind(k), bytes, Store(store)));
                expected[place(id, k, store)] = bytes;
            }
        }
    }

    // The request, by where it names the cabinets.
    QStringList named{ids[0], ids[2]};
    QVariant request;
    constexpr int uploaded = 100;
    if (row[2] == QLatin1String("argument")) {
        named = QStringList(ids[0]);
        request = List{block(kind, uploaded, "coefficients")};
    } else if (row[2] == QLatin1String("cid")) {
        List elements;
        for (const QString &id : qAsConst(named))
            elements += map({{"cid", id.toULongLong()}, {"coefficientList", List{block(kind, uploaded, "coefficient")}}});
        request = elements;
    } else if (row[2] == QLatin1String("cids")) {
        request = map({{"cids", List{ids[0].toULongLong(), ids[2].toULongLong()}}});
    } else {
        QCOMPARE(row[2], QStringLiteral("idList"));
        request = map({{"idList", List{ids[0], ids[2]}}, {"type", QVariant::fromValue(Kind(kind))}});
    }

    // The effect on the planes.
    const QByteArray fresh = [&] {
        const QByteArray pixel = description().defaultPixels[static_cast<std::size_t>(kind)];
        QByteArray bytes(planeLength(kind), '\0');
        for (int i = 0; i < bytes.size(); i += kind == int(Kind::Multilayer) ? 16 : 18)
            bytes.replace(i, pixel.size(), pixel);
        return bytes;
    }();
    for (const QString &id : qAsConst(named)) {
        const QByteArray source = row[3] == QLatin1String("request") ? sample(kind, uploaded)
                                  : row[3] == QLatin1String("default")
                                      ? fresh
                                      : expected.value(place(id, kind, storeNames.indexOf(row[3])));
        QVERIFY(!source.isEmpty());
        const QStringList stores = row[4] == none ? QStringList() : row[4].split(QStringLiteral(", "));
        for (const QString &store : stores) {
            QVERIFY(storeNames.contains(store));
            expected[place(id, kind, storeNames.indexOf(store))] = source;
        }
    }

    QVERIFY2(operations()[row[0]](request), qPrintable(wall().journal().notes().join(QLatin1Char('\n'))));
    QCOMPARE(differences(expected, allPlanes()), QStringList());
    for (const QString &id : ids) {
        for (int k = 0; k < kindNames.size(); ++k) {
            const bool isMeant = k == kind && named.contains(id) && row[5] != none;
            QCOMPARE(int(wall().state().shown(key, id, Kind(k))),
                     isMeant ? storeNames.indexOf(row[5]) : int(Store::Working));
        }
    }
    if (row[3] == QLatin1String("Working") && row[4] == none) {
        const Map reply = wall().journal().calls().last().reply.toList().value(0).toMap();
        QCOMPARE(QByteArray::fromBase64(reply.value(QStringLiteral("coefficients")).toString().toLatin1()),
                 expected.value(place(ids[0], kind, int(Store::Working))));
    }

    // The same is on disk, as after a power failure.
    wall().reset();
    QVERIFY2(wall().open(directory, &error), qPrintable(error));
    for (const QString &id : ids) {
        for (int k = 0; k < kindNames.size(); ++k)
            expected[place(id, k, int(Store::Working))] = expected[place(id, k, int(Store::User))];
    }
    QCOMPARE(differences(expected, allPlanes()), QStringList());
}

void tst_Store::everyThingIsInTheTable()
{
    QStringList names;
    const QVector<QStringList> rows = table("lasting");
    for (const QStringList &row : rows) {
        QCOMPARE(row.size(), 3);
        names += row[0];
    }
    names.sort();
    QCOMPARE(names, QStringList(things().keys()));
}

void tst_Store::aRestartDoesWhatTheTableSays_data()
{
    QTest::addColumn<QString>("thing");
    QTest::addColumn<QString>("personality");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<bool>("reopen");
    const QVector<QStringList> rows = table("lasting");
    for (const QStringList &row : rows) {
        for (const bool reopen : {false, true}) {
            const QString how = reopen ? QStringLiteral("%1, opened again%2") : QStringLiteral("%1, restarted%2");
            QTest::newRow(qPrintable(how.arg(row[0], QString()))) << row[0] << QString() << row[1] << reopen;
            QTest::newRow(qPrintable(how.arg(row[0], QStringLiteral(", forgetful"))))
                << row[0] << QStringLiteral("forgets on restart") << row[2] << reopen;
        }
    }
}

void tst_Store::aRestartDoesWhatTheTableSays()
{
    QFETCH(QString, thing);
    QFETCH(QString, personality);
    QFETCH(QString, outcome);
    QFETCH(bool, reopen);
    const Folder folder;
    const QString &directory = folder.directory;
    QString error;
    QVERIFY2(wall().create(directory, description(personality), &error), qPrintable(error));

    const Kept &kept = things()[thing];
    const QVariant delivered = kept.get();
    if (thing == QLatin1String("Working"))
        QVERIFY(things()[QStringLiteral("User")].set());
    const QVariant user = things()[QStringLiteral("User")].get();
    QVERIFY2(kept.set(), qPrintable(wall().journal().notes().join(QLatin1Char('\n'))));
    const QVariant set = kept.get();
    QVERIFY(set != delivered);

    const auto powerCycle = [&] { return reopen ? wall().open(directory, &error) : wall().restartDevice(key); };
    QVERIFY2(powerCycle(), qPrintable(error));
    const QVariant found = kept.get();
    if (outcome == QLatin1String("kept")) {
        QCOMPARE(CallJournal::describe(found), CallJournal::describe(set));
    } else if (outcome == QLatin1String("lost")) {
        QCOMPARE(CallJournal::describe(found), CallJournal::describe(delivered));
    } else {
        QCOMPARE(outcome, QStringLiteral("User"));
        const QVariant expected = personality.isEmpty() ? user : delivered;
        QCOMPARE(CallJournal::describe(found), CallJournal::describe(expected));
    }

    // Memory and disk agree: once more changes nothing.
    wall().reset();
    QVERIFY2(wall().open(directory, &error), qPrintable(error));
    QCOMPARE(CallJournal::describe(kept.get()), CallJournal::describe(found));
}

/// The directory was written by create() and the settings of things() before there were checksums.
void tst_Store::aDirectoryOfVersionOneOpens()
{
    const Folder folder;
    const TestSupport::Files files = TestSupport::filesBelow(QStringLiteral(WALL_VERSION_1));
    QVERIFY(!files.isEmpty());
    TestSupport::restoreFiles(folder.directory, files);
    wall().setWall(description());
    for (const Kept &kept : things())
        QVERIFY(kept.set());
    QVERIFY(wall().restartDevice(key));
    const QByteArray saved = files.value(QStringLiteral("/devices/A/state.json"));
    const auto found = [&saved] {
        QMap<QString, QString> result;
        for (auto kept = things().cbegin(); kept != things().cend(); ++kept) {
            QVariant value = kept->get();
            if (value.userType() == QMetaType::QVariantMap) { // without settings that are younger than the directory
                Map entries = value.toMap();
                for (auto entry = entries.begin(); entry != entries.end();)
                    entry = saved.contains('"' + entry.key().toLatin1() + '"') ? std::next(entry) : entries.erase(entry);
                value = entries;
            }
            result[kept.key()] = CallJournal::describe(value);
        }
        return result;
    };
    const QMap<QString, QString> expected = found();

    QString error;
    for (int round = 0; round < 2; ++round) {
        QVERIFY2(wall().open(folder.directory, &error), qPrintable(error));
        QCOMPARE(found(), expected);
        // Saving goes on from there, also in the next version's format.
        QVERIFY(wall().state().setFlashCheckCode(key, ids[0], QStringLiteral("1"), 8 + round));
        wall().reset();
    }
    QVERIFY2(wall().open(folder.directory, &error), qPrintable(error));
    QCOMPARE(wall().state().flashCheckCode(key, ids[0], QStringLiteral("1")), 9);
}

QTEST_GUILESS_MAIN(tst_Store)
#include "tst_store.moc"
