#include "Rows.h"
#include "files/Files.h"
#include "files/Json.h"
#include "session/Service.h"
#include "session/Session.h"
#include "terminal/Interrupt.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QSysInfo>

#include <algorithm>
#include <functional>

using namespace Correction;

namespace Ctl {
namespace {

/// Replies of a huge wall have megabytes: the output shows the first characters, the report more of them.
constexpr int longestShown = 200;
constexpr int longestReported = 4000;

QString cut(const QString &text, int longest)
{
    return text.size() <= longest
               ? text
               : QStringLiteral("%1... (%2 characters)").arg(text.left(longest), QString::number(text.size()));
}

/// Runs the steps; every step is one operation of the library, with the calls that it made.
class Walk
{
public:
    explicit Walk(Session &session) : m_session(session) {}

    /// `expected`: a code that is not a problem. `strict`: a call that returned false is a problem even when the operation
    /// succeeds; discovery skips such devices. A reply that lacks what was queried is always a problem.
    EnumErrorCode step(const QString &what, const std::function<EnumErrorCode()> &operation,
                       EnumErrorCode expected = enSuccess, bool strict = false)
    {
        Interrupt::check(QStringLiteral("%1 done, no report written").arg(counted(m_steps.size(), "step")));
        Service::forgetExchanges();
        LibraryLog::forget();
        const EnumErrorCode code = operation();
        QJsonArray calls;
        QStringList lines;
        QStringList silent;
        bool isDamaged = false;
        for (const Service::Exchange &exchange : Service::exchanges()) {
            QStringList remarks{exchange.note};
            if (!exchange.damage.isNull()) {
                isDamaged = true;
                remarks.append(QStringLiteral("incomplete reply: ") + exchange.damage);
            }
            remarks.removeAll(QString());
            const QString note = remarks.join(QStringLiteral("; "));
            lines.append(QStringLiteral("       %1 %2 ms")
                             .arg(cut(exchange.request, longestShown), QString::number(exchange.milliseconds, 'f', 1)));
            lines.append(
                QStringLiteral("         -> %1%2%3")
                    .arg(QLatin1String(exchange.success ? "true" : "false"),
                         exchange.answer.isEmpty() ? QString() : QLatin1Char(' ') + cut(exchange.answer, longestShown),
                         note.isEmpty() ? QString() : QStringLiteral(" -- ") + note));
            calls.append(QJsonObject{{QStringLiteral("operation"), exchange.operation},
                                     {QStringLiteral("device"), exchange.device},
                                     {QStringLiteral("request"), cut(exchange.request, longestReported)},
                                     {QStringLiteral("answer"), cut(exchange.answer, longestReported)},
                                     {QStringLiteral("success"), exchange.success},
                                     {QStringLiteral("milliseconds"), exchange.milliseconds},
                                     {QStringLiteral("note"), note}});
            if (!exchange.success && !silent.contains(exchange.device))
                silent.append(exchange.device);
        }
        const EnumErrorCode met = code != enSuccess             ? code
                                  : strict && !silent.isEmpty() ? enTimeout
                                  : isDamaged                   ? enInvalidParameter
                                                                : code;
        const bool good = met == enSuccess || met == expected;
        Output &out = m_session.out();
        out.line(QStringLiteral("%1 %2: %3 (%4)%5")
                     .arg(QLatin1String(good ? "ok  " : "BAD "), what, resultName(code), QString::number(code),
                          good || silent.isEmpty()
                              ? QString()
                              : QStringLiteral(", answered false: device ") + silent.join(QStringLiteral(", "))));
        for (const QString &line : qAsConst(lines))
            out.line(line);
        m_steps.append(QJsonObject{{QStringLiteral("step"), what},
                                   {QStringLiteral("code"), code},
                                   {QStringLiteral("result"), resultName(code)},
                                   {QStringLiteral("good"), good},
                                   {QStringLiteral("calls"), calls},
                                   {QStringLiteral("log"), QJsonArray::fromStringList(LibraryLog::lines())}});
        if (!good) {
            ++m_troubles;
            if (!m_codes.contains(met))
                m_codes.append(met);
            for (const QString &device : qAsConst(silent)) {
                if (!m_silent.contains(device))
                    m_silent.append(device);
            }
        }
        return code;
    }

    /// A problem that was found without a call.
    void find(const QString &what, int exit)
    {
        m_session.out().line(QStringLiteral("BAD  %1: %2 (%3)").arg(what, resultName(exit), QString::number(exit)));
        m_steps.append(QJsonObject{{QStringLiteral("step"), what},
                                   {QStringLiteral("code"), exit},
                                   {QStringLiteral("result"), resultName(exit)},
                                   {QStringLiteral("good"), false},
                                   {QStringLiteral("calls"), QJsonArray()},
                                   {QStringLiteral("log"), QJsonArray()}});
        ++m_troubles;
        if (!m_codes.contains(exit))
            m_codes.append(exit);
    }

    /// Devices for which a call returned false.
    const QStringList &silentDevices() const { return m_silent; }
    const QVector<int> &codes() const { return m_codes; }
    int troubles() const { return m_troubles; }
    const QJsonArray &steps() const { return m_steps; }

private:
    Session &m_session;
    QJsonArray m_steps;
    QVector<int> m_codes; ///< Result codes of failed steps, in order.
    QStringList m_silent;
    int m_troubles = 0;
};

/// Reads from one screen, and from one cabinet of each of its devices.
void examine(Walk &walk, Session &session, const QString &id)
{
    IScreen &screen = session.screenOf(id);
    const auto named = [&id](const char *what) { return QStringLiteral("screen %1: %2").arg(id, QLatin1String(what)); };
    walk.step(named("rectangle"), [&] {
        QRect rect;
        return screen.tryGetRect(rect);
    });
    walk.step(named("its devices' own names"), [&] { return screen.getSubScreenNames({}); });
    walk.step(named("features"), [&] {
        QMap<QString, bool> features;
        return screen.getFeatures(features);
    });
    walk.step(named("support"), [&] {
        QVector<CabinetBaseInfo> list;
        return screen.getScreenSupport(list);
    });
    walk.step(named("range of brightness"), [&] {
        BrightnessRange range;
        return screen.getBrightnessRange(range);
    });
    walk.step(named("effect mode"), [&] {
        EnumEffectMode mode{};
        return screen.tryGetEffectMode(mode);
    });
    walk.step(named("gamma tables"), [&] {
        QMap<EnumGammaType, QList<int>> tables;
        return screen.getGammaTable(tables);
    });
    QStringList seen;
    for (const CabinetInfo &cabinet : Session::cabinetsOf(screen)) {
        if (seen.contains(cabinet.deviceKey))
            continue;
        seen.append(cabinet.deviceKey);
        const QString name = QStringLiteral("device %1, cabinet %2: ").arg(cabinet.deviceKey, cabinet.id);
        walk.step(name + QStringLiteral("coefficients"), [&] {
            Coefficient grid;
            return session.cabinet(cabinet.id).tryGetCoefficients(grid);
        });
        walk.step(
            name + QStringLiteral("module flash"), [&] { return session.cabinet(cabinet.id).IsSupportFlash(); },
            enNotSupported);
    }
}

void doctor(Session &session)
{
    Output &out = session.out();
    if (session.arguments().has("FILE"))
        checkWritable(session.arguments().text("FILE"));
    session.openService();
    Walk walk(session);
    ScreenManager *const manager = ScreenManager::getInstance();
    walk.step(QStringLiteral("starting discovery"), [&] {
        manager->init();
        return enSuccess;
    });
    const EnumErrorCode discovered = walk.step(
        QStringLiteral("discovering the screens"), [&] { return session.refresh(); }, enSuccess, true);
    session.takeDiscovered();
    for (const QString &sentence : session.ambiguities())
        walk.find(sentence, ExitAmbiguous);
    for (const QString &cabinets : discovered == enSuccess ? session.missingCabinets() : QStringList())
        walk.find(QStringLiteral("left out: ") + cabinets, ExitIncomplete);
    if (discovered != enNoDevice) {
        for (const QString &id : session.screenIds())
            examine(walk, session, id);
    }

    QJsonArray explanations;
    if (!walk.codes().isEmpty()) {
        out.line(QString());
        out.line(QStringLiteral("result codes met:"));
    }
    for (const int code : walk.codes()) {
        const ExitCode *const known = explain(code);
        const QString meaning = QLatin1String(known ? known->meaning : "A code that this program does not know.");
        const QString next = QLatin1String(known ? known->next : "Look for the library's version.");
        out.line(QStringLiteral("  %1 (%2): %3 %4").arg(resultName(code)).arg(code).arg(meaning, next));
        explanations.append(QJsonObject{{QStringLiteral("code"), code},
                                        {QStringLiteral("name"), resultName(code)},
                                        {QStringLiteral("meaning"), meaning},
                                        {QStringLiteral("next"), next}});
    }
    const QStringList silent = walk.silentDevices();
    const QString verdict =
        walk.troubles() == 0
            ? QStringLiteral("no trouble found")
            : QStringLiteral("%1 failed%2")
                  .arg(counted(walk.troubles(), "step"),
                       silent.isEmpty() ? QString()
                                        : QStringLiteral("; answered false: device ") + silent.join(QStringLiteral(", ")));
    const QJsonObject bundle{{QStringLiteral("program"), QStringLiteral("correctionctl " CORRECTIONCTL_VERSION)},
                             {QStringLiteral("service"), Service::name()},
                             {QStringLiteral("system"), QSysInfo::prettyProductName()},
                             {QStringLiteral("qt"), QLatin1String(qVersion())},
                             {QStringLiteral("steps"), walk.steps()},
                             {QStringLiteral("codes"), explanations},
                             {QStringLiteral("verdict"), verdict}};
    out.data(bundle);
    out.line(QString());
    if (session.arguments().has("FILE")) {
        writeFile(session.arguments().text("FILE"), QJsonDocument(bundle).toJson());
        out.line(QStringLiteral("report for a bug report: %1").arg(session.arguments().text("FILE")));
    } else {
        out.line(QStringLiteral("`doctor FILE` writes a report that fits a bug report"));
    }
    LibraryLog::forget(); // each step has shown its lines
    if (walk.troubles() > 0)
        throw Failure(walk.codes().first(), verdict);
    out.line(verdict);
}

} // namespace

QVector<Verb> doctorVerbs()
{
    return {
        reads("doctor", "Walk through discovery and settings step by step and explain what goes wrong",
              {optional(argument("FILE", Value::File, "write the report there as JSON, fit for a bug report"))},
              "correctionctl doctor report.json", "doctor", doctor,
              "ScreenManager::refreshScreen IScreen::tryGetRect IScreen::getSubScreenNames IScreen::getFeatures "
              "IScreen::getScreenSupport "
              "IScreen::getBrightnessRange IScreen::tryGetEffectMode IScreen::getGammaTable ICabinet::IsSupportFlash"),
    };
}

} // namespace Ctl
