#pragma once

#include "Random.h"

#include <simulator/Call.h>
#include <simulator/WallDescription.h>

#include <QtCore/QMap>

#include <exception>
#include <functional>
#include <optional>

/// The effects of scripts and faults on calls.
namespace Simulator {

/// Changes any reply in place; returns whether it changed something.
using Corruption = std::function<bool(QVariant &, Random &)>;

/// The effect on one call.
struct Action {
    enum Type { Wall, False, True, Later, Resolve, Reject, Throw, Never, Vanish, Restart };
    Type type = Wall;
    QVariant reply;
    bool value = false;
    std::exception_ptr error;
    std::optional<QMap<QString, QString>> headers;
    std::function<void(const Call &)> run;
    std::function<void(QVariant &)> editReply;
    int milliseconds = 0;         ///< How much longer the answer takes.
    std::optional<int> backAfter; ///< A device that vanishes comes back after so many milliseconds.
    Corruption corrupt;           ///< For replies after true.
    QString note;                 ///< For the journal; with a corruption only if it changed the reply. Empty for scripts.
};

/// The calls that an action applies to.
struct ScriptData {
    enum Calls { AllCalls, Uploads, Promises };
    QString operation;
    QString deviceKey;
    QString target;
    Calls calls = AllCalls;
    int limit = -1; ///< Negative: none.
    int skip = 0;
    int seen = 0;
    int served = 0;
    Action action;

    /// Whether the call matches; `seen` counts the matches.
    bool matches(const Call &call, bool promise);
    /// Whether the call that matched last is to be served.
    bool isDue() const { return seen > skip && (limit < 0 || served < limit); }
};

/// A row of FaultTypes.def.
struct FaultType {
    Fault::Type type;
    const char *name; ///< In wall files.
    ScriptData::Calls calls;
    const char *note;
};

/// By Fault::Type.
const QVector<FaultType> &faultTypes();

/// The rule of a fault for the calls of its device. `who` begins the notes.
ScriptData ruleOf(const Fault &fault, const QString &who = QStringLiteral("fault"));

/// The action for a call: that of its script; if the script has no answer, that of chaos, or else of its fault. Either rule
/// may be null; the one that serves the call counts it.
Action actionOf(ScriptData *script, ScriptData *fault, std::optional<Action> chaos, bool promise);

/// Whether the operation uploads coefficients, with a promise or without.
bool isUpload(const Call &call);

/// The std::runtime_error that an upload is rejected with.
std::exception_ptr rejection(const QString &reason);

/// Response headers of a request that was carried out.
QMap<QString, QString> okHeaders();

/// The number of characters of the strings in a request or reply, at any depth.
qint64 charactersIn(const QVariant &value);

} // namespace Simulator
