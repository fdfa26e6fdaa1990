// Replies of devices: discovery, and operations on what it made of the replies, with a device service whose replies, results
// and promises are decoded from the input. Afterwards the wall is discovered again with the replies of devices without
// faults.

#include "Fuzz.h"
#include "Objects.h"

#include <adapter/Operations.h>

#include <Correction/CabinetManager.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <algorithm>
#include <new>
#include <stdexcept>

using namespace Trust;

namespace {

class FuzzedBackend : public FaultyBackend
{
public:
    Fuzz::Bytes *input = nullptr; ///< Null: no faults.

    void initialize(bool enable) override
    {
        throwSometimes(input ? input->byte() : 0);
        FaultyBackend::initialize(enable);
    }

    QList<Adapter::DeviceInfo> devices() override
    {
        const int choice = input ? input->byte() : 0;
        throwSometimes(choice);
        if (choice < 128)
            return FaultyBackend::devices();
        QList<Adapter::DeviceInfo> list;
        for (int left = input->below(5); left > 0; --left) {
            list.append({input->flag() ? input->pick(deviceKeys) : input->text(), input->text()});
            if (!listed.contains(list.constLast().key))
                listed.append(list.constLast().key);
        }
        return list;
    }

    Adapter::Answer answer(const Adapter::Call &call) override
    {
        // One of the known places, since replies are kept for each of them.
        Adapter::Call known = call;
        known.deviceKey = call.deviceKey == deviceKeys[1] ? deviceKeys[1] : deviceKeys[0];
        const QStringList cabinets = cabinetsOf(known.deviceKey);
        if (Adapter::findOperation(call.operation)->address == Adapter::Address::Cabinet && !cabinets.contains(call.target))
            known.target = cabinets.constFirst();
        Adapter::Answer answer = FaultyBackend::answer(known);
        calls.clear();
        if (!input)
            return answer;
        const int choice = input->byte();
        throwSometimes(choice);
        answer.result = choice < 200;
        if (choice >= 32 && choice < 192)
            Fuzz::edit(answer.reply, *input, keys);
        else if (choice >= 192 && choice < 224)
            answer.reply = Fuzz::anyValue(*input, keys);
        if (choice % 8 == 7 && !answer.headers.isEmpty()) {
            answer.headers.clear();
            for (int left = input->below(3); left > 0; --left)
                answer.headers.insert(input->flag() ? text("HttpResponse_StateCode") : input->text(),
                                      input->flag() ? text("404") : input->text());
        }
        return answer;
    }

    QtPromise::QPromise<bool> upload(const Adapter::Call &call) override
    {
        if (!input)
            return FaultyBackend::upload(call);
        using Promise = QtPromise::QPromise<bool>;
        const int choice = input->byte();
        throwSometimes(choice);
        const bool taken = choice % 4 == 0;
        const bool isRejected = choice % 4 == 3;
        if (choice < 128)
            return isRejected ? Promise::reject(choice) : Promise::resolve(taken);
        return Promise([=](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
            QTimer::singleShot(0, [=] {
                if (isRejected)
                    reject(std::runtime_error("no network"));
                else
                    resolve(taken);
            });
        });
    }

    QStringList keys;                ///< Of all replies.
    QStringList listed = deviceKeys; ///< All that discovery listed.

private:
    static void throwSometimes(int choice)
    {
        if (choice == 255)
            throw std::runtime_error("no network");
        if (choice == 254)
            throw 42;
        if (choice == 253)
            throw std::bad_alloc();
    }
};

FuzzedBackend backend;
QString usualTree;

const Row &refreshRow()
{
    return *std::find_if(operations().cbegin(), operations().cend(),
                         [](const Row &row) { return row.name == text("ScreenManager::refreshScreen"); });
}

/// Whether the order in which such rectangles are united makes no difference.
bool isNear(const QRect &rect)
{
    constexpr int limit = 1 << 27;
    return rect.left() > -limit && rect.top() > -limit && rect.right() < limit && rect.bottom() < limit
           && rect.left() <= rect.right() + 1 && rect.top() <= rect.bottom() + 1;
}

/// Every sub-screen has its cabinets in the registry, and all getters agree.
void checkTree()
{
    ScreenManager *const manager = ScreenManager::getInstance();
    const QMap<QString, QString> names = manager->getNameMapping();
    for (const QString &id : names.keys()) {
        IScreen *const screen = manager->tryGetScreen(id);
        Fuzz::require(screen, "a screen that is named is missing");
        QRect all;
        bool isComparable = true;
        for (const QString &key : qAsConst(backend.listed)) {
            ISubScreen *const subScreen = screen->tryGetSubScreen(key);
            if (!subScreen)
                continue;
            QList<CabinetInfo> infos;
            Fuzz::require(subScreen->tryGetAllCabinetInfoList(infos) == enSuccess, "a sub-screen names a missing cabinet");
            QRect united;
            for (const CabinetInfo &info : qAsConst(infos)) {
                ICabinet *const cabinet = CabinetManager::getInstance()->tryGetCabinet(info.id);
                CabinetInfo own;
                Fuzz::require(cabinet && cabinet->GetCabinetInfo(own) == enSuccess, "a cabinet has no description");
                Fuzz::require(own.id == info.id && own.deviceKey == info.deviceKey && own.rect == info.rect,
                              "a cabinet has two descriptions");
                isComparable = isComparable && isNear(info.rect);
                if (isComparable)
                    united |= info.rect;
            }
            QRect rect;
            Fuzz::require(subScreen->tryGetRect(rect) == enSuccess, "a sub-screen has no rectangle");
            if (isComparable) {
                Fuzz::require(rect == united, "a sub-screen's rectangle is not that of its cabinets");
                all |= united;
            }
        }
        QRect rect;
        const EnumErrorCode code = screen->tryGetRect(rect);
        Fuzz::require(code != enSuccess || !isComparable || !isNear(rect) || rect == all,
                      "a screen's rectangle is not that of its sub-screens");
    }
}

} // namespace

void Fuzz::setUp()
{
    for (const Adapter::Operation &operation : Adapter::operations())
        addKeys(operation.replyFields, backend.keys);
    Adapter::setBackend(&backend);
    Host host(folder() + text("/config"));
    require(bool(host.group), "the wall without faults is not discovered");
    usualTree = refreshRow().output(host);
}

void Fuzz::run(Bytes &input)
{
    const QString path = folder() + text("/config");
    backend.input = &input;
    backend.listed = deviceKeys;
    const auto guarded = [](auto operation) {
        try {
            const int code = operation();
            require(code >= enSuccess && code <= enCabinetNotFound, "not a result code");
        } catch (const std::bad_alloc &) {
            // the device service's own
        }
    };
    std::unique_ptr<Host> made;
    guarded([&] {
        made = std::make_unique<Host>(path); // refreshes
        return enSuccess;
    });
    if (!made) {
        backend.input = nullptr;
        made = std::make_unique<Host>(path);
        backend.input = &input;
    }
    Host &host = *made;
    if (input.below(16) == 15) { // each of them adds connections
        guarded([] {
            ScreenManager::getInstance()->init();
            return enSuccess;
        });
    }
    checkTree();
    findObjects(host, backend.listed);
    for (int left = 1 + input.below(12); left > 0; --left) {
        const Row &row = operations()[std::size_t(input.below(int(operations().size())))];
        if (canRun(row, host))
            guarded([&] { return row.run(host); });
        else if (row.name == refreshRow().name) {
            host.group.reset();
            guarded([&] { return row.run(host); });
            checkTree();
            findObjects(host, backend.listed);
        }
    }
    QCoreApplication::processEvents();
    host.group.reset();

    backend.input = nullptr;
    const Host again(path);
    require(bool(again.group), "the wall without faults is not discovered afterwards");
    same(refreshRow().output(host), usualTree, "the wall afterwards");
}
