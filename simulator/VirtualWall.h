#pragma once

#include <adapter/DeviceBackend.h>
#include <simulator/CallJournal.h>
#include <simulator/Faults.h>
#include <simulator/Pictures.h>
#include <simulator/Replay.h>
#include <simulator/Scripts.h>
#include <simulator/SimulatorGlobal.h>
#include <simulator/State.h>
#include <simulator/Timeline.h>
#include <simulator/Uploads.h>
#include <simulator/WallDescription.h>

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

/// A virtual LED wall: the device service and the device discovery, held in memory. A program that links this library
/// instead of a real service talks to the wall through the classes of `<service/...>`.
namespace Simulator {

/// A wall: a backend of the device service (Adapter::setBackend() installs it). A program may make several, each with state,
/// journal, time and directory of its own. docs/faults.md describes time, faults and personalities.
///
/// A wall must not be destroyed while calls of its functions, or of the service while it is installed, are under way. With
/// it pending uploads are rejected, its recording ends, and its directory is closed.
///
/// Threads: every function may be called from any thread, and so may the service's operations. The wall holds no lock
/// while it sleeps, emits a signal, runs a hook or settles a promise; each of these happens on the thread that caused it.
/// Timed events run on the thread that advances the time: in a call, in Timeline::advance(), or in the event loop of the
/// calling thread (see ClockMode). Only uploads of devices with Timing::settleInThread settle on threads of the wall.
///
/// Operations without a script act on the wall's state as follows.
/// - Uploads decode the blocks and paste them into Store::Working, all or nothing for one request. Loads return
/// Store::Working, in one block or in bands (State::setReplyBlockHeight()).
/// - save... copies Working to User (saveCabinetsFactoryCoefficient to Factory, saveCabinetsModuleCoefficient to
///   Module); setMutiCabinetSolid saves the kind that its "type" names. show... and applyCabinetsLowgrayCoeffcient copy
///   the store to Working. clear... sets Working and User to the default pixel (all zero, see State::setDefaultPixel()).
/// - CabinetInfoOperator::saveModuleCoefficient copies Working to Flash, reloadModuleCoefficient Flash to Working,
///   clearModuleCoefficient sets Flash to the default pixel. Their "type" and allowance are recorded only.
/// - A brightness or effect mode of the device goes to all its cabinets as well; a gamma table of the device stays the
///   device's. The cabinets number their gamma channels 0 red, 1 blue, 2 green; the devices 0 red, 1 green, 2 blue.
///   Cabinets return a table as `QList<int>`, devices as a list of variants.
/// - lock() sets the owner, also when another one holds the lock; unLock() removes the owner.
/// - setCheckerBoardImage with response headers and an empty request is a query: nothing is drawn. It returns the status
///   "200" and a "Content-Type", or false with "404" when the device does not support the checkerboard.
/// - A request that no device would accept changes nothing and returns false: an unknown device or cabinet, a missing,
///   additional or wrongly typed entry, a string that is not base64, a block outside its cabinet or of another size than
///   its data, a brightness out of range. Call::note holds the reason. Cabinet ids may be strings or signed or unsigned
///   64-bit integers.
class SIMULATOR_API VirtualWall : public Adapter::DeviceBackend
{
public:
    /// An empty wall in real time. It is not installed.
    explicit VirtualWall(QObject *parent = nullptr);
    ~VirtualWall() override;

    /// The wall of programs that need only one: made on first use, installed unless another backend is, and kept until the
    /// process ends. A program that installs no backend has it from the first call of the service on.
    static VirtualWall &instance();

    // Parts, owned by the wall.

    CallJournal &journal();     ///< The calls that it served.
    Replay &replay();           ///< Answers from a recording.
    Uploads &uploads();         ///< Pending uploads.
    Timeline &timeline();       ///< Time and scheduled events.
    Faults &faults();           ///< Faults and chaos.
    Scripts &scripts();         ///< Results that the program sets for certain calls.
    State &state();             ///< What the devices hold.
    const State &state() const; ///< The same, for reading.
    Pictures &pictures();       ///< Pictures of the wall.

    /// Back to an empty wall in real time: no devices, scripts, calls or settings, no directory. Pending uploads are
    /// rejected. Emits nothing.
    void reset();
    /// Replaces everything that a description holds; its time begins at 0. Scripts, journal and the kind of clock stay.
    /// Pending uploads are rejected but for those that a script holds. An open directory is closed before. Emits
    /// HttpProxy::deviceChanged once.
    void setWall(const WallDescription &wall);
    /// setWall() by the name of a preset (presetNames(); docs/walls.md), the path of a wall file or that of a wall
    /// directory. A preset has priority over a file of the same name; use "./name" for the file. False, and the wall
    /// unchanged, when that is not possible; `error`, if not null, gets the reasons, a line for each problem.
    bool load(const QString &presetFileOrDirectory, QString *error = nullptr);
    /// As load(), but a wall directory is only read: without its lock, also while another process has it open, and where
    /// this process may not write. Each device is as one save of that process left it; two devices may be from different
    /// moments. Nothing is saved, and later saves of that process are not noticed. On a network
    /// drive, where another host removes packs, a plane can become unreadable: the request returns false, and the reason is
    /// in Call::note.
    bool loadReadOnly(const QString &presetFileOrDirectory, QString *error = nullptr);
    /// The wall as it is at this moment, with the flags, names, faults and events that were set since. Devices that are
    /// unplugged are included.
    WallDescription wall() const;

    // Devices

    /// Replaces all devices; emits HttpProxy::deviceChanged once. A device whose key was there before is
    /// reset. An open directory is closed before.
    void setDevices(const QList<Device> &devices);
    /// Appends a device, or replaces the one with its key; emits HttpProxy::deviceChanged. It is not kept in an open
    /// directory: what one of this key saved there stays as it is.
    void addDevice(const Device &device);
    /// Takes a device off the wall for good; emits HttpProxy::deviceChanged. False, and nothing emitted, for an unknown
    /// key. Its pending uploads stay pending; those that only wait for their time settle with false.
    bool removeDevice(const QString &deviceKey);
    /// Changes the screen name of a device; emits ScreenInfo::signal_screenNameChanged. False, and nothing emitted, for
    /// an unknown key, or when it could not be saved, with a warning line.
    bool renameScreen(const QString &deviceKey, const QString &name);
    /// Takes a device off the wall, which keeps it for plug(): what it had saved survives, what was only uploaded does
    /// not. Emits HttpProxy::deviceChanged. Its pending uploads are rejected, but for those that a script holds; calls
    /// under way on other threads are answered false. False, and nothing emitted, for one that is not there.
    bool unplug(const QString &deviceKey);
    /// Puts an unplugged device back, at its old place in discovery; emits HttpProxy::deviceChanged. False, and nothing
    /// emitted, for one that was not unplugged.
    bool plug(const QString &deviceKey);
    /// As unplug() and plug(), but without signals. Every cabinet then shows its User store; what was only uploaded, the
    /// lock, the test image and the image mode are lost. A device with the personality "forgets on restart" is as
    /// delivered but for Factory, Module, Flash and the flash check codes. False, and nothing changed, for an unknown or
    /// unplugged one, or when that could not be saved, with a warning line.
    bool restartDevice(const QString &deviceKey);
    /// The devices in the order in which discovery lists them, with the flags and screen names that were set since.
    QList<Device> pluggedDevices() const;
    /// The screens' ids, in the order in which the devices name them.
    QStringList screenIds() const;

    // Directory
    // A wall on disk: what its devices saved outlives the process. docs/store.md lists the persistent state and the files.
    //
    // Saving happens inside the operation that saves, on its thread, before it returns: after true the change is on disk.
    // The changes of one request, also for many cabinets, are saved whole or not at all, even when the process is killed. A
    // request that could not be saved changes nothing and returns false; the reason is in Call::note. While one call saves,
    // others wait.
    //
    // An error text has a line for each problem: file, place in it, reason.

    /// Makes a directory for a wall and opens it; parent directories are made where they are missing. False, and nothing
    /// changed, when it holds a wall already or cannot be written. Otherwise as setWall().
    bool create(const QString &directory, const WallDescription &wall, QString *error = nullptr);
    /// setWall() by the wall of a directory, its devices being as they are after a restart. Every file is read, and every
    /// checksum compared, before anything changes. False, and nothing changed, neither in the directory nor on the wall,
    /// when something in it is missing or wrong, or when another process has it open. The directory that was open before
    /// is closed; opening the same one again reads it again.
    bool open(const QString &directory, QString *error = nullptr);
    /// Closes the directory, so that other processes may open it. The wall continues in memory; nothing more is saved. The
    /// directory is closed automatically when the process ends.
    void close();
    /// The open directory's absolute path; null when there is none, and after loadReadOnly().
    QString directory() const;

    // Service

    void initialize(bool enable) override;
    QList<Adapter::DeviceInfo> devices() override;
    Adapter::Answer answer(const Call &call) override;
    QtPromise::QPromise<bool> upload(const Call &call) override;

private:
    bool loadBy(bool (VirtualWall::*openDirectory)(const QString &, QString *), const QString &presetFileOrDirectory,
                QString *error);
    bool openReadOnly(const QString &directory, QString *error);

    std::shared_ptr<Wall> d;
};

} // namespace Simulator
