#pragma once

#include <Correction/CabinetInfo.h>
#include <Correction/Enumerations.h>
#include <Correction/Global.h>
#include <Correction/IScreen.h>

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>

namespace Correction {

/// The entry point: discovers the screens and owns them.
///
/// Usage: `getInstance()`, `init()`, `refreshScreen()`, and `refreshScreen()` again whenever `signal_screenChanged()`
/// arrives. Every refresh that finds a device invalidates all screen, sub-screen, cabinet and group pointers handed out
/// before it. There is no lock: concurrent calls are the caller's concern.
///
/// Cabinet ids must be unique over all devices. When two devices use the same id, the cabinet that was placed first is
/// registered, one warning line names the id and both devices, and the sub-screen of the second device holds an id that
/// leads to the first device's cabinet: writes through that sub-screen do not reach the second device's cabinet.
class CORRECTION_EXPORT ScreenManager : public QObject
{
    Q_OBJECT

public:
    /// Made at the first call. Unsynchronised: make the first call before other threads use it.
    static ScreenManager *getInstance();
    /// Deletes the manager alone. Screens already handed out stay valid, and are not deleted by a new manager's refresh: the
    /// host deletes them. The next `getInstance()` makes a new manager, which relays nothing until its `init()`. Refused
    /// with one critical line, and without effect, when called from inside `init()` or `refreshScreen()` (a device service
    /// may call the host back).
    static void releaseInstance();

    /// Starts the device discovery and relays its notifications. Call it once for each manager. Logs one critical line for
    /// each service that is missing.
    void init();
    /// Takes the device list, drops everything and builds it again from the devices' replies.
    /// - `enSuccess`: also when devices did not answer and are left out. That is one critical line for each, but only a
    ///   debug line when the description of a device's cabinets (`CabinetInfoOperator::getCabAllFlags`) fails: with the rule
    ///   "correction.debug=false" nothing is logged for it. `IScreen::tryGetSubScreen` returns null for a device that is
    ///   missing.
    /// - `enNoDevice`, with one critical line: there is no device. Everything stays as it was.
    /// - `enCabinetNotFound`, with one critical line: a screen places a cabinet that no device visited so far lists. What
    ///   was built so far stays; the devices behind are not visited.
    ///
    /// A cabinet that is placed and listed but not described is left out; that is not logged. Each new sub-screen logs one
    /// critical line "Cannot find SubScreen", which does not mean a failure.
    ///
    /// A device service may call the host back or run the event loop, and a screen write runs it. A refresh from inside such
    /// a call is safe: an operation in progress on the same thread goes on with its screen and sub-screens, and looks up
    /// cabinets that it has not visited yet in the new registry. The removed objects are deleted by the first refresh or
    /// removal outside of every operation, at the latest when the thread ends. Other pointers are invalid at once.
    EnumErrorCode refreshScreen();
    /// Screen id -> screen name.
    QMap<QString, QString> getNameMapping();
    /// The screen, still owned by the manager, or null (not logged).
    IScreen *tryGetScreen(const QString &id);

Q_SIGNALS:
    /// A device appeared or vanished. It may arrive while an operation runs the event loop (a coefficient write does): store
    /// it then, and refresh when the operation has returned. Emitted at once when the discovery service emits its own signal
    /// on this object's thread; from another thread it is queued to this object's, whose event loop must run to deliver it.
    void signal_screenChanged();
    /// A device's screen was renamed. Threads as above.
    void signal_screenNameChanged(QString deviceKey, QString name);

private:
    ScreenManager();
    ~ScreenManager() override;

    EnumErrorCode getCurruntDeviceCabinetInfos(const QString &deviceKey, QMap<QString, CabinetInfo *> &cabinetInfos);
    void removeAllScreen();

    QMap<QString, IScreen *> m_screens; // owned, by screen id
};

} // namespace Correction
