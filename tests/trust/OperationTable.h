#pragma once

#include <adapter/DeviceBackend.h>

#include <Correction/CabinetBaseInfo.h>
#include <Correction/CabinetsPtr.h>
#include <Correction/Coefficient.h>
#include <Correction/CoefficientPtr.h>
#include <Correction/MultilayerCoefficient.h>
#include <Correction/ScreenManager.h>

#include <QtCore/QMap>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <functional>
#include <memory>
#include <vector>

/// Every operation of the library that calls the device service, with a model of what the host and the devices see of it,
/// and a device service that can fail at any call.
namespace Trust {

using namespace Correction;

inline QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

// The wall: two devices of one screen, each with two cabinets of 2 x 1 pixels, all in one row.

inline const QStringList deviceKeys{QStringLiteral("A"), QStringLiteral("B")};
QStringList cabinetsOf(const QString &device);

/// How a call fails.
enum class Kind {
    None,
    False,
    FalseWithReply,
    Throws,
    ThrowsNumber,
    Exhausted, ///< throws std::bad_alloc
    Empty,     ///< true with an empty reply
    OtherForm, ///< true with a string in place of the reply
    Bare,      ///< true with maps in place of all values but the containers
    Flat,      ///< true with strings in place of the containers
    Rejected,
    RejectedNumber,
    RejectedLater, ///< from the event loop
    FalseLater,
};

/// All but None, with their names.
extern const QVector<QPair<Kind, QString>> kinds;

struct Fault {
    Kind kind = Kind::None;
    int first = 0; ///< position of the call
    bool lasting = false;

    bool hits(int position, const QString &operation) const;
};

/// The device service of the wall with one fault.
class FaultyBackend : public Adapter::DeviceBackend
{
public:
    Fault fault;
    QStringList calls; ///< such as "Correctionop::loadCoefficient A 1"

    /// Run once, inside the call at that position.
    int hookedCall = -1;
    std::function<void()> hook;
    bool settlesLater = false; ///< uploads are answered from the event loop

    void initialize(bool enable) override;
    QList<Adapter::DeviceInfo> devices() override;
    Adapter::Answer answer(const Adapter::Call &call) override;
    QtPromise::QPromise<bool> upload(const Adapter::Call &call) override;

private:
    bool isFaulty(const QString &operation, const QString &device, const QString &target);
};

/// What the library makes of a call.
enum class Got {
    Good,
    Failed,
    FailedWithReply,
    Empty,
    Bare,
    Flat,
};

/// What the host and the devices see of an operation.
class Model
{
public:
    explicit Model(const Fault &fault) : m_fault(fault) {}

    QStringList calls;
    QStringList lines;    ///< critical
    QStringList warnings; ///< of the library
    int mismatches = 0;   ///< warnings of the adapter about replies of wrong types
    QString output;
    bool isReached = false; ///< whether a call failed

    /// Leaves by std::bad_alloc where the service does.
    Got call(const QString &operation, const QString &device = QString(), const QString &target = QString());
    /// Of an operation that does not read the reply.
    bool isTaken(const char *operation, const QString &device, const QString &target = QString());
    void line(const QString &line) { lines.append(line); }
    void line(const char *message, const QString &first, const QString &second = QString());

private:
    const Fault m_fault;
};

/// The host's variables.
struct Variables {
    EnumEffectMode mode = EnumEffectMode(77);
    BrightnessRange range;
    QMap<EnumGammaType, QList<int>> gamma{{enRedGamma, {9}}, {EnumGammaType(5), {8}}};
    QMap<QString, bool> features;
    QVector<CabinetBaseInfo> support;
    CabinetBaseInfo baseInfo;
    QList<RxCardFlashCheckInfo> flash;
    CoefficientPtr grid;       ///< a Coefficient
    CoefficientPtr multilayer; ///< a MultilayerCoefficient
};

/// The host's objects, of a wall just discovered.
struct Host {
    /// Refreshes; `file` is a file that operations may read and write. The objects are null when that fails.
    explicit Host(const QString &file);
    /// The same objects with variables and a file of its own.
    Host(const Host &other, const QString &file);

    IScreen *screen = nullptr;
    ISubScreen *subScreen = nullptr; ///< of the first device
    ICabinet *cabinet = nullptr;     ///< its first one
    CabinetsPtr group;
    QString path;
    Variables variables;

    /// Looks up the objects, except for the group.
    void find();
    /// Sets the variables and the file to what they are before an operation.
    void reset();
};

/// An operation.
struct Row {
    QString name;
    std::function<EnumErrorCode(Host &)> run;
    std::function<QString(Host &)> output; ///< what the host can see afterwards
    std::function<EnumErrorCode(Model &)> expect;
};

const std::vector<Row> &operations();

/// The result code, or the exception that leaves `operation`.
template <class Operation>
QString resultOf(Operation operation)
{
    try {
        return QString::number(operation());
    } catch (const std::bad_alloc &) {
        return text("std::bad_alloc");
    } catch (...) {
        return text("another exception");
    }
}

} // namespace Trust
