#pragma once

#include "commandline/CommandLine.h"
#include "terminal/ExitCodes.h"
#include "terminal/Output.h"

#include <Correction/Correction.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QStringList>

#include <memory>

namespace Ctl {

/// The context of a verb: its arguments, its output, and the wall, which is discovered on first use.
class Session
{
public:
    Session(const Invocation &invocation, Output &output);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    const Arguments &arguments() const { return m_invocation.arguments; }
    const Verb &verb() const { return *m_invocation.verb; }
    const QStringList &rest() const { return m_invocation.rest; }
    Output &out() { return m_output; }
    bool dryRun() const { return arguments().has("--dry-run"); }
    /// Whether the verb sends something that changes a device.
    bool changes() const;

    /// Opens the service without calling it. Call it once.
    void openService();
    /// Discovers the screens, once.
    Correction::ScreenManager &manager();
    /// ScreenManager::refreshScreen(), which manager() calls. A terminal shows how far it is.
    Correction::EnumErrorCode refresh();
    /// Marks the screens as discovered, for a verb that runs the discovery itself.
    void takeDiscovered();
    /// Devices that discovery lists and no screen has: they did not answer what a refresh queries.
    const QStringList &missingDevices() const { return m_missingDevices; }
    /// Cabinets that a device places on a screen but does not describe completely, as "cabinet 4 of device B": the library
    /// leaves them out.
    const QStringList &missingCabinets() const { return m_missingCabinets; }
    /// Problems of the cabinets' ids, as sentences. The library identifies a cabinet by its id alone: of several devices
    /// with the same id, only the first discovered one is reached.
    const QStringList &ambiguities() const { return m_ambiguities; }
    /// The screen that SCREEN names: one of the wall by id or name, or one created for this call when several are joined by
    /// "+" or --device and --cabinet choose a part. Owned by the wall or by this.
    Correction::IScreen &screen();
    Correction::IScreen &screenOf(const QString &idOrName);
    /// The cabinet of this id.
    Correction::ICabinet &cabinet(const QString &id);
    /// The cabinet that CID names.
    Correction::ICabinet &cabinet();
    Correction::CabinetInfo cabinetInfo(Correction::ICabinet &cabinet);

    /// A screen of those cabinets of another one that overlap a rectangle.
    static std::unique_ptr<Correction::ScreenV4> partOf(Correction::IScreen &screen, const QRect &rect);
    /// Ids of all screens, in order.
    QStringList screenIds();
    static QList<Correction::CabinetInfo> cabinetsOf(Correction::IScreen &screen);
    static QRect rectOf(Correction::IScreen &screen);
    /// Device keys of a screen's cabinets, in key order.
    static QStringList devicesOf(const QList<Correction::CabinetInfo> &cabinets);

private:
    Correction::IScreen &single(const QString &idOrName);
    void findAmbiguities();
    void findMissingDevices();
    void findMissingCabinets();
    void requireExpected() const;
    /// Ends a verb that changes a device, or keeps what is to be restored, where an id of the screen is ambiguous.
    void requireUniqueIds(const QString &screenId) const;
    void select(const QStringList &screens);

    Invocation m_invocation;
    Output &m_output;
    bool m_open = false;
    bool m_discovered = false;
    QStringList m_missingDevices;
    QStringList m_missingCabinets;
    QStringList m_ambiguities;
    QMap<QString, QString> m_ambiguousScreens;         ///< Their ids, and the first sentence about each.
    QMap<QString, QStringList> m_screensOf;            ///< By cabinet id; a screen once for each device that lists it.
    std::unique_ptr<Correction::ScreenV4> m_selection; ///< Made from parts of discovered screens.
};

} // namespace Ctl
