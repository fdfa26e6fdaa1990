// The device service of this program through the adapter: the virtual wall, or a loaded backend.

#include "Replies.h"
#include "Service.h"
#include "terminal/ExitCodes.h"

#include <adapter/BackendPlugin.h>
#include <adapter/DryRun.h>
#include <adapter/ExchangeTap.h>
#include <adapter/Operations.h>
#include <adapter/Recorder.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

using Simulator::Call;
using Simulator::CallJournal;
using Simulator::VirtualWall;

namespace Ctl {
namespace Service {

namespace {

bool g_replaying = false;
bool g_keepsExchanges = false;
bool g_isReadOnly = false; ///< The wall is a directory that is only read.
QVector<Exchange> g_exchanges;
std::mutex g_mutex; ///< Of what observe() changes.
QStringList g_listedDevices;
QMap<QString, Announced> g_announced;
QString g_lastDevice;                       ///< Of the last call that has ended.
bool g_isLastQuery = false;                 ///< Whether it was the last query of that device in a refresh.
using OutcomeKey = QPair<QString, QString>; // device, operation
QMap<OutcomeKey, Outcome> g_outcomes;
QMap<OutcomeKey, Outcome> g_refusals; ///< Since takeRefusals().
// A chain: the host calls the last existing one, and each calls one before it.
std::unique_ptr<Adapter::DeviceBackend> g_backend; ///< Null: the wall.
std::unique_ptr<Adapter::Recorder> g_recorder;
std::unique_ptr<Adapter::DryRun> g_dryRun;
std::unique_ptr<Adapter::ExchangeTap> g_tap;

VirtualWall &wall()
{
    return VirtualWall::instance();
}

/// Installs a filter in front of the installed backend.
template <typename Filter, typename... Arguments>
void putInFront(std::unique_ptr<Filter> &filter, Arguments... arguments)
{
    if (!g_backend)
        wall(); // installs itself
    filter = std::make_unique<Filter>(*Adapter::backend(), arguments...);
    Adapter::setBackend(filter.get());
}

/// Adds the bytes and ids in a part of a request; `key` is the innermost key around it.
void measure(const QString &key, const QVariant &value, Exchange &exchange)
{
    static const QStringList ids{QStringLiteral("cid"), QStringLiteral("cids"), QStringLiteral("idList")};
    static const QStringList base64{QStringLiteral("coefficient"), QStringLiteral("coefficients"), QStringLiteral("config")};
    if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
            measure(entry.key(), entry.value(), exchange);
    } else if (value.userType() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        for (const QVariant &element : list)
            measure(key, element, exchange);
    } else if (ids.contains(key)) {
        exchange.cabinets.append(value.toString());
    } else if (base64.contains(key)) {
        const QString text = value.toString();
        const int padding = text.endsWith(QLatin1String("==")) ? 2 : text.endsWith(QLatin1Char('=')) ? 1 : 0;
        exchange.bytes += qint64(text.size()) / 4 * 3 - padding;
    }
}

Exchange exchangeOf(const Call &call, const QString &damage = QString())
{
    Exchange exchange;
    exchange.operation = call.operation;
    exchange.device = call.deviceKey;
    exchange.request = CallJournal::describe(call, CallJournal::Shorten);
    exchange.answer = call.reply.isValid() ? CallJournal::describe(call.reply, CallJournal::Shorten) : QString();
    // Discovery's own operations return no failure.
    exchange.success = call.result || call.deviceKey.isNull();
    exchange.milliseconds = double(call.duration) / 1000;
    exchange.note = call.note;
    exchange.damage = damage;
    return exchange;
}

void count(QMap<OutcomeKey, Outcome> &outcomes, const Call &call, bool changes, bool refused, const QString &damage)
{
    Outcome &outcome = outcomes[{call.deviceKey, call.operation}];
    outcome.device = call.deviceKey;
    outcome.operation = call.operation;
    outcome.changes = changes;
    ++(refused ? outcome.refused : outcome.done);
    if (refused && outcome.reason.isEmpty())
        outcome.reason = call.note;
    if (outcome.damage.isNull())
        outcome.damage = damage;
}

/// Observes every call, on the calling thread.
void observe(const Call &call)
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    const QString damage = call.result ? damageOf(call.operation, call.deviceKey, call.target, call.reply) : QString();
    if (g_keepsExchanges)
        g_exchanges.append(exchangeOf(call, damage));
    if (call.operation == QLatin1String("HttpProxy::getDeviceList")) {
        g_listedDevices.clear();
        g_announced.clear();
        const QVariantList devices = call.reply.toList();
        for (const QVariant &device : devices)
            g_listedDevices.append(device.toMap().value(QStringLiteral("key")).toString());
    }
    if (call.deviceKey.isNull())
        return;
    if (call.result && call.operation == QLatin1String("CabinetInfoOperator::getAllCabinetsInfo"))
        g_announced[call.deviceKey].listed = listedCabinets(call.reply);
    if (call.result && call.operation == QLatin1String("ScreenInfo::getScreens"))
        g_announced[call.deviceKey].placed = placedCabinets(call.reply);
    const Adapter::Operation *const operation = Adapter::findOperation(call.operation);
    const bool changes = operation && operation->isChange();
    const bool refused = !call.result || call.rejected || !call.settled;
    // The failure of any query but the first ends those of a device.
    g_lastDevice = call.deviceKey;
    g_isLastQuery = call.operation == QLatin1String("CabinetInfoOperator::getCabAllFlags")
                    || (refused && call.operation != QLatin1String("HWInfo::getHWInfo"));
    count(g_outcomes, call, changes, refused, damage);
    if (refused || !damage.isNull())
        count(g_refusals, call, changes, refused, damage);
}

void watch()
{
    putInFront(g_tap, observe);
}

[[noreturn]] void refuse(const QString &error)
{
    throw Failure(ExitNoWall, error.trimmed()); // one problem a line
}

} // namespace

QString name()
{
    return isWall() ? QStringLiteral("virtual wall") : QStringLiteral("backend");
}

bool hasWall()
{
    return true;
}

bool isWall()
{
    return !g_backend;
}

bool keepsWhatIsSaved()
{
    return !isWall() || g_isReadOnly || !wall().directory().isNull();
}

void open(const QString &source, Access access)
{
    QString error;
    g_isReadOnly = access == Access::ReadOnly && QFileInfo(source).isDir() && !Simulator::presetNames().contains(source);
    if (!(g_isReadOnly ? wall().loadReadOnly(source, &error) : wall().load(source, &error)))
        refuse(error);
    // Calls hold whole coefficient planes as strings, and the tool does not read them back from the wall.
    wall().journal().setLimit(0);
    watch();
}

void openBackend(const QString &source)
{
    QString error;
    g_backend = Adapter::loadBackend(source, error);
    if (!g_backend)
        refuse(error);
    Adapter::setBackend(g_backend.get());
    watch();
}

void openRecording(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(path, file.errorString()));
    file.close();
    QString error;
    if (!wall().replay().start(path, &error))
        throw Failure(ExitBadData, error.simplified());
    g_replaying = true;
    watch();
}

void close()
{
    QString error;
    const bool isWhole = g_recorder ? g_recorder->close(error) : !isWall() || wall().journal().recordTo(QString(), &error);
    Adapter::setBackend(nullptr);
    g_dryRun.reset();
    g_recorder.reset();
    g_tap.reset();
    if (isWall())
        wall().close();
    g_backend.reset();
    if (!isWhole)
        throw Failure(ExitCannotWrite, error.simplified());
}

void holdBackWrites()
{
    if (g_replaying)
        refuse(QStringLiteral(
            "--dry-run and replay exclude each other: a recording holds no answers to requests that were not sent"));
    putInFront(g_dryRun);
}

QVector<Exchange> exchanges()
{
    return g_exchanges;
}

QVector<Exchange> heldBack()
{
    QVector<Exchange> list;
    for (const Call &call : g_dryRun->heldBack()) {
        Exchange exchange = exchangeOf(call);
        measure(QString(), call.request, exchange);
        const Adapter::Operation *const operation = Adapter::findOperation(call.operation);
        if (operation && operation->address == Adapter::Address::Cabinet)
            exchange.cabinets.append(call.target);
        list.append(exchange);
    }
    return list;
}

void forgetExchanges()
{
    g_exchanges.clear();
    g_keepsExchanges = true;
}

QStringList listedDevices()
{
    return g_listedDevices;
}

QMap<QString, Announced> announced()
{
    return g_announced;
}

Discovered discovered()
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    Discovered state;
    state.listed = g_listedDevices.size();
    // Devices are queried in their order.
    const int index = g_listedDevices.indexOf(g_lastDevice);
    state.finished = index + (index < 0 || g_isLastQuery ? 1 : 0);
    state.device = g_listedDevices.value(state.finished);
    return state;
}

bool isWatched()
{
    return true;
}

QVector<Outcome> outcomes()
{
    return g_outcomes.values().toVector();
}

QVector<Outcome> takeRefusals()
{
    const QVector<Outcome> refusals = g_refusals.values().toVector();
    g_refusals.clear();
    return refusals;
}

void record(const QString &path)
{
    QString error;
    bool isOpen = false;
    if (isWall()) {
        isOpen = wall().journal().recordTo(path, &error);
    } else {
        putInFront(g_recorder);
        isOpen = g_recorder->open(path, error);
    }
    if (!isOpen)
        throw Failure(ExitCannotWrite, error.simplified());
}

Replayed replayed()
{
    const Simulator::ReplayReport report = wall().replay().report();
    return {report.answered, report.remaining, report.difference};
}

QByteArray describe()
{
    return Simulator::wallToJson(wall().wall());
}

void create(const QString &directory, const QString &source)
{
    if (Simulator::presetNames().contains(directory))
        throw Failure(ExitUsage, QStringLiteral("%1: a preset has this name, which --wall would take instead; take another "
                                                "name, or ./%1")
                                     .arg(directory));
    Simulator::WallDescription description;
    QString error;
    if (!Simulator::presetWall(source, description) && !Simulator::readWall(source, description, &error))
        refuse(error);
    if (!wall().create(directory, description, &error))
        throw Failure(ExitCannotWrite, error.simplified());
}

QImage render(Picture picture, const QString &screenId, const PictureForm &form)
{
    switch (picture) {
    case Picture::Layout:
        return wall().pictures().layout(screenId, form.width);
    case Picture::Coefficients:
        return wall().pictures().coefficients(screenId, form.channel, Simulator::Kind::Chroma, {form.least, form.greatest},
                                              form.width);
    case Picture::Pattern: {
        const QImage whole = wall().pictures().pattern(screenId);
        return form.width > 0 && form.width < whole.width() ? whole.scaledToWidth(form.width, Qt::SmoothTransformation)
                                                            : whole;
    }
    }
    return {};
}

Photo photograph(const QString &screenId, const Camera &form, double white)
{
    Simulator::Photo seen = wall().pictures().photograph(screenId);
    if (form.photosites > 0 && !seen.isNull()) {
        Simulator::Camera camera;
        camera.blur = form.blur;
        camera.view = Simulator::Camera::tilted(seen.size, form.tilt);
        // A coarse photo without noise finds the exposures.
        constexpr int coarse = 3;
        constexpr float headroom = 1.25f;
        camera.photosites = std::min(form.photosites, coarse);
        camera.fullScale = std::numeric_limits<float>::max();
        std::array<float, 3> greatest{};
        const Simulator::Photo bright = wall().pictures().photograph(screenId, camera);
        for (std::size_t i = 0; i < bright.xyz.size(); ++i)
            greatest[i % 3] = std::max(greatest[i % 3], bright.xyz[i]);
        camera.photosites = form.photosites;
        camera.shotNoise = form.noise;
        camera.bits = form.bits;
        camera.seed = form.seed;
        for (std::size_t filter = 0; filter < 3 && !bright.isNull() && !seen.isNull(); ++filter) {
            camera.fullScale = greatest[filter] > 0 ? double(headroom * greatest[filter]) : 1;
            Simulator::Photo exposed = wall().pictures().photograph(screenId, camera);
            if (filter == 0 || exposed.isNull()) {
                seen = std::move(exposed);
                continue;
            }
            for (std::size_t i = filter; i < exposed.xyz.size(); i += 3)
                seen.xyz[i] = exposed.xyz[i];
        }
    }
    if (seen.isNull())
        throw Failure(ExitNoMemory,
                      QStringLiteral("screen %1: no photo: it is too large, or saved coefficients cannot be read "
                                     "(--verbose shows the reason)")
                          .arg(screenId));
    Photo photo;
    photo.size = seen.size;
    photo.xyz = QVector<float>(seen.xyz.cbegin(), seen.xyz.cend());
    photo.homography = QVector<double>(seen.homography.cbegin(), seen.homography.cend());
    if (white > 0)
        photo.picture = seen.image(white);
    return photo;
}

} // namespace Service
} // namespace Ctl
