#pragma once

#include <simulator/Call.h>
#include <simulator/PictureTypes.h>
#include <simulator/ReplayReport.h>
#include <simulator/Script.h>
#include <simulator/SimulatorGlobal.h>
#include <simulator/StateTypes.h>
#include <simulator/WallDescription.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>
#include <QtGui/QImage>

#include <memory>

/// A virtual LED wall: the device service and the device discovery, held in memory. A program that links this library
/// instead of a real service talks to the wall through the classes of `<service/...>`.
namespace Simulator {

class Wall;

/// The wall. One in a process, created on first use. docs/faults.md tells of time, faults and personalities.
///
/// Threads: every function may be called from any thread, and so may the service's operations. The wall holds no lock
/// while it sleeps, emits a signal, runs a hook or settles a promise; each of these happens on the thread that caused it.
/// What time brings about, it brings about on the thread that lets the time pass: in a call, in advance(), or in the event
/// loop of the thread that called (see Clock). Only devices with Timing::settleInThread settle on threads of the wall.
///
/// Behaviour of an operation without a script: the wall acts on its state, as follows.
/// - Uploads decode the blocks and paste them into Store::Working, all or nothing for one request. Loads answer
///   Store::Working, in one block or in bands (setReplyBlockHeight()).
/// - save... copies Working to User (saveCabinetsFactoryCoefficient to Factory, saveCabinetsModuleCoefficient to
///   Module); setMutiCabinetSolid saves the kind that its "type" names. show... and applyCabinetsLowgrayCoeffcient copy
///   the store to Working. clear... sets Working and User to the default pixel (all zero, see setDefaultPixel()).
/// - CabinetInfoOperator::saveModuleCoefficient copies Working to Flash, reloadModuleCoefficient Flash to Working,
///   clearModuleCoefficient sets Flash to the default pixel. Their "type" and allowance are recorded only.
/// - A brightness or effect mode of the device goes to all its cabinets as well; a gamma table of the device stays the
///   device's. The cabinets number their gamma channels 0 red, 1 blue, 2 green; the devices 0 red, 1 green, 2 blue.
///   Cabinets answer a table as `QList<int>`, devices as a list of variants.
/// - lock() remembers the owner, whoever held the lock before, and unLock() forgets whichever there is.
/// - setCheckerBoardImage with response headers and an empty request is a question: nothing is drawn. It answers the
///   status "200" and a "Content-Type", or false with "404" when the device does not support the checkerboard.
/// - A request that no device would accept changes nothing and is answered false: an unknown device or cabinet, a
///   missing, additional or wrongly typed entry, a text that is not base64, a block outside its cabinet or of another
///   size than its text, a brightness out of range. Call::note says why. Cabinet ids may be texts or signed or unsigned
///   64-bit integers.
class SIMULATOR_API VirtualWall
{
public:
    using Call = Simulator::Call;

    enum TranscriptForm {
        Full,   ///< Every text in full.
        Shorten ///< Texts of more than 64 characters are cut, their length added: for people.
    };

    /// How the wall's time passes.
    enum Clock {
        RealTime, ///< As on the desk: calls sleep, uploads settle and events happen by the event loop.
        Stepped,  ///< By advance(), and by calls, which take their time at once; nothing sleeps.
        Skipping  ///< As Stepped; besides, an event loop that has nothing else to do while uploads are pending moves the
                  ///< time on to what comes next, so that whoever waits for them does not wait.
    };

    /// The wall; lives until the process ends.
    static VirtualWall &instance();

    VirtualWall(const VirtualWall &) = delete;
    VirtualWall &operator=(const VirtualWall &) = delete;

    /// Back to an empty wall in real time: no devices, scripts, calls or settings, no directory. Pending uploads are
    /// rejected. Emits nothing.
    void reset();
    /// Replaces everything that a description holds; its time begins at 0. Scripts, journal and the kind of clock stay.
    /// Pending uploads are rejected but for those that a script holds. An open directory is closed before. Emits
    /// HttpProxy::deviceChanged once.
    void setWall(const WallDescription &wall);
    /// setWall() by the name of a preset (presetNames(); docs/walls.md), the path of a wall file or that of a wall
    /// directory. A preset goes before a file of its name, which "./name" reaches. False, and the wall as it was, when that
    /// is not possible; `error`, where there is one, says why, a line for each problem.
    bool load(const QString &presetFileOrDirectory, QString *error = nullptr);
    /// The wall as it is at this moment, with the flags, names, faults and events that were set since. Devices that are
    /// unplugged are part of it.
    WallDescription wall() const;

    // Devices

    /// Replaces all devices; emits HttpProxy::deviceChanged once. A device whose key was there before starts afresh. An
    /// open directory is closed before.
    void setDevices(const QList<Device> &devices);
    /// Appends a device, or replaces the one with its key; emits HttpProxy::deviceChanged. It is not kept in an open
    /// directory: what one of this key saved there stays as it is.
    void addDevice(const Device &device);
    /// Takes a device off the wall for good; emits HttpProxy::deviceChanged. False, and nothing emitted, for an unknown
    /// key. Its pending uploads stay pending; those that only take their time come to false.
    bool removeDevice(const QString &deviceKey);
    /// Changes the screen name of a device; emits ScreenInfo::signal_screenNameChanged. False, and nothing emitted, for
    /// an unknown key, or when it could not be saved.
    bool renameScreen(const QString &deviceKey, const QString &name);
    /// Takes a device off the wall, which keeps it for plug(): what it had saved survives, what was only uploaded does
    /// not. Emits HttpProxy::deviceChanged. Its pending uploads are rejected, but for those that a script holds; calls
    /// under way on other threads are answered false. False, and nothing emitted, for one that is not there.
    bool unplug(const QString &deviceKey);
    /// Brings it back, to its old place in discovery; emits HttpProxy::deviceChanged. False, and nothing emitted, for one
    /// that was not unplugged.
    bool plug(const QString &deviceKey);
    /// As unplug() and plug(), but nobody is told. Every cabinet then shows its User store; what was only uploaded, the
    /// lock, the test image and the image mode are lost. A device with the personality "forgets on restart" is as
    /// delivered but for Factory, Module, Flash and the flash check codes. False, and nothing changed, for an unknown or
    /// unplugged one, or when that could not be saved.
    bool restartDevice(const QString &deviceKey);
    /// The devices in the order in which discovery lists them, with the flags and screen names that were set since.
    QList<Device> devices() const;
    /// The screens' ids, in the order in which the devices name them.
    QStringList screenIds() const;

    // Faults

    /// Adds a fault to those of a device; it counts calls from here on. False for an unknown key.
    bool addFault(const QString &deviceKey, const Fault &fault);
    /// Leaves only the faults that belong to the device's personality; they begin to count anew. False for an unknown
    /// key.
    bool clearFaults(const QString &deviceKey);
    /// See WallDescription::chaos.
    void setChaos(double share);
    /// See WallDescription::seed. What is drawn begins anew.
    void setSeed(quint64 seed);

    // Time

    /// Changes the way in which time passes; the time itself goes on.
    void setClock(Clock clock);
    /// Milliseconds since reset() or setWall().
    qint64 now() const;
    /// Lets time pass, with all that happens meanwhile. In real time the caller sleeps.
    void advance(qint64 milliseconds);
    /// Adds something that happens by itself; what lies in the past happens next. In real time the event loop of the
    /// calling thread looks after it; without one, whichever call of the service comes next.
    void schedule(const Event &event);

    // Directory
    // A wall on disk: what its devices saved outlives the process. docs/store.md lists what lasts and shows the files.
    //
    // Saving happens inside the operation that saves, on its thread, before it answers: what was answered true is on
    // disk. What one request changes, be it for many cabinets, is saved whole or not at all, also when the process is
    // killed. A request that could not be saved changes nothing and is answered false; Call::note says why. While one
    // call saves, others wait.
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
    /// Lets go of the directory, so that other processes may open it. The wall goes on in memory; nothing more is saved.
    /// Happens by itself when the process ends.
    void close();
    /// The open directory's absolute path; null when there is none.
    QString directory() const;

    // Journal

    /// All calls since the last clearCalls() or reset(), in the order in which they began.
    QList<Call> calls() const;
    void clearCalls();
    /// Keeps only the newest `limit` calls, for long-running hosts. Negative, the default, keeps all.
    void setJournalLimit(int limit);
    /// The calls as lines, each exact and typed:
    /// `Correctionop::setScreenXBit("A", "255", {"mode": int 3, "xbitEnable": bool true})`. Replies are not part of a
    /// line.
    QStringList transcript(TranscriptForm form = Full) const;
    /// The lines of the calls that have a note, each followed by " -- " and the note. Empty when nothing was wrong.
    QStringList notes(TranscriptForm form = Full) const;
    /// One call as a line of the transcript.
    static QString describe(const Call &call, TranscriptForm form = Full);
    /// A value as text: texts in double quotes (with \\, \", \n, \r, \t and \uXXXX escapes), maps as {"key": value} in
    /// key order, variant lists as [value, value], an invalid variant as `invalid`, everything else with its type name:
    /// `int 3`, `QList<int> [1, 2]`, `QStringList ["a"]`, an enumeration by its type name and number.
    static QString describe(const QVariant &value, TranscriptForm form = Full);

    /// The calls as a table for people: time, duration, device, target, operation, the beginnings of request and reply,
    /// note. One line a call, below one with the columns' names.
    QString readableTranscript() const;
    /// The calls as JSON Lines (docs/journal.md). An array ends at 2 GiB: more calls than that go to a file.
    QByteArray journal() const;
    /// The same as a file, which is replaced as a whole or, on an error, left as it was.
    bool saveJournal(const QString &path, QString *error = nullptr) const;
    /// Writes the calls that begin from here on to a file, which must be new or empty: each as soon as it is answered,
    /// an upload when its promise is settled, so that the lines stand in the order of the answers and their numbers in
    /// that of the beginnings. A process that dies leaves every line that was written, the last one perhaps cut short.
    ///
    /// A null path, another file or reset() ends a recording: uploads that are pending then are written as such. The
    /// journal's limit and clearCalls() have no influence on it.
    ///
    /// False when the new file cannot be written (then a recording that runs goes on), or when lines of the recording
    /// that ends are missing, for instance because the disk was full; calls without a line have the note "not recorded".
    bool recordTo(const QString &path, QString *error = nullptr);
    /// The calls of a journal's file in the order of their numbers. When something is wrong, `error` names the file, the
    /// line, the place in it and the reason, and the calls are those of the lines before; else `error` is null.
    static QList<Call> readJournal(const QString &path, QString *error = nullptr);

    // Replay

    /// From here on every call is compared with the next one of a recording (operation, device, target, request and
    /// extra argument, with their types) and answered as that was: result, reply, headers, a promise fulfilled with true
    /// or false or rejected. The wall's devices, scripts, faults and delays have no part in it. Calls are matched in the
    /// order in which they begin, whatever thread they come from; the journal shows them with the recorded times.
    ///
    /// The first call that is not the recorded one ends it: see ReplayReport::difference. That call and all later ones
    /// are answered false with a note, their promises fulfilled with false.
    ///
    /// A promise is settled as soon as the host has made every call that began, in the recording, before it was settled.
    /// One that was pending at the end of the recording stays pending until unplug() or removeDevice() of its device,
    /// which reject it, whether the wall has such a device or not. A host that waits for a promise and does not make the
    /// next recorded call gets it all the same after a while (setReplayPatience()).
    ///
    /// Signals are not part of a recording. reset() ends the replay, another replay() begins afresh.
    void replay(const QList<Call> &calls);
    /// Of a file. False, and nothing changed, when readJournal() finds something wrong with it.
    bool replay(const QString &path, QString *error = nullptr);
    ReplayReport replayReport() const;
    /// How long a promise waits for the next recorded call beyond that call's recorded time; 5000 by default.
    void setReplayPatience(int milliseconds);

    // Scripts

    /// Adds a script for an operation, at a device, for a target (cabinet id or screen selector); a null text stands
    /// for any. An upload with a promise has no target. Of the scripts that apply to a call the one added last wins.
    /// The reference stays valid until clearScripts() or reset().
    Script &on(const QString &operation, const QString &deviceKey = QString(), const QString &target = QString());
    void clearScripts();

    /// Uploads whose promise is pending: held by a script's settleLater() or by a fault, or not yet due.
    int pendingUploads() const;
    /// Their devices' keys, oldest upload first; a device with two of them is listed twice.
    QStringList pendingUploadDevices() const;
    /// Blocks the calling thread until at least `count` uploads are pending, for a thread that settles what another one
    /// waits for. False when that has not come about after `milliseconds`.
    bool waitForPendingUploads(int count, int milliseconds = 10000) const;
    /// Settles the oldest pending upload of a device, whatever holds it; with true its blocks are pasted before. False if
    /// there was none.
    bool settle(const QString &deviceKey, bool value);
    /// Rejects the oldest pending upload of a device with a std::runtime_error. False if there was none.
    bool rejectPending(const QString &deviceKey);

    // Settings

    /// Splits loaded coefficients into bands of this many rows, the last one lower if need be. 0, the default: one
    /// block.
    void setReplyBlockHeight(int rows);
    /// The pixel that cleared and never written planes consist of: raw bytes, 16-bit values low byte first. An empty
    /// array stands for zeros; shorter ones are filled up with zeros, longer ones cut.
    void setDefaultPixel(Kind kind, const QByteArray &pixel);

    // State
    // Everything below answers empty, 0 or false for an unknown device or cabinet; a setter's false means just that, or
    // that an open directory could not save what it set.

    /// A plane, row by row: 9 values for each pixel.
    QVector<quint16> chroma(const QString &deviceKey, const QString &cabinetId, Store store = Store::Working) const;
    QVector<quint16> lowGray(const QString &deviceKey, const QString &cabinetId, Store store = Store::Working) const;
    /// A plane, row by row: Device::multilayerBytesPerPixel bytes for each pixel.
    QByteArray multilayer(const QString &deviceKey, const QString &cabinetId, Store store = Store::Working) const;
    /// A plane of any kind as raw bytes, 16-bit values low byte first.
    QByteArray plane(const QString &deviceKey, const QString &cabinetId, Kind kind, Store store = Store::Working) const;
    /// Replaces a plane, past journal and scripts. False unless the number of values fits the cabinet.
    bool setPlane(const QString &deviceKey, const QString &cabinetId, Kind kind, const QByteArray &bytes,
                  Store store = Store::Working);
    bool setChroma(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values,
                   Store store = Store::Working);
    bool setLowGray(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values,
                    Store store = Store::Working);
    bool setMultilayer(const QString &deviceKey, const QString &cabinetId, const QByteArray &values,
                       Store store = Store::Working);
    /// Where the values of Store::Working come from: the store that was last shown, applied or reloaded, or Working
    /// itself after an upload or a clear.
    Store shown(const QString &deviceKey, const QString &cabinetId, Kind kind = Kind::Chroma) const;

    int brightness(const QString &deviceKey) const;
    int brightness(const QString &deviceKey, const QString &cabinetId) const;
    /// Gamma tables, initially empty.
    QList<int> gamma(const QString &deviceKey, Channel channel) const;
    QList<int> gamma(const QString &deviceKey, const QString &cabinetId, Channel channel) const;
    bool setGamma(const QString &deviceKey, Channel channel, const QList<int> &table);
    bool setGamma(const QString &deviceKey, const QString &cabinetId, Channel channel, const QList<int> &table);
    int effectMode(const QString &deviceKey) const;
    int effectMode(const QString &deviceKey, const QString &cabinetId) const;
    int xBitMode(const QString &deviceKey) const;
    bool isXBitEnabled(const QString &deviceKey) const;
    bool isAblEnabled(const QString &deviceKey) const;
    int imageMode(const QString &deviceKey) const;
    /// The application that holds the lock; empty when nobody does.
    QString lockOwner(const QString &deviceKey) const;
    Pattern pattern(const QString &deviceKey) const;

    /// The "param" map that the cabinet got last, or empty.
    QMap<QString, QVariant> multilayerParameter(const QString &deviceKey, const QString &cabinetId) const;
    /// The "multilayerParams" list that the cabinet got last, or empty.
    QList<QVariant> multilayerParameters(const QString &deviceKey, const QString &cabinetId) const;
    QByteArray configFile(const QString &deviceKey, const QString &cabinetId) const;
    bool setConfigFile(const QString &deviceKey, const QString &cabinetId, const QByteArray &bytes);
    QString flag(const QString &deviceKey, const QString &cabinetId) const;
    QString moduleFlag(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const;
    /// Flash check code of a module; 0, the initial value, is good.
    int flashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const;
    bool setFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId, int code);
    /// Whether HttpProxy::initialize(true) was the last word. Devices are listed in any case.
    bool isDiscovering() const;

    // Pictures
    // 32-bit RGB, made from the state of one moment. The map of the screen has one picture pixel for each pixel of the
    // screen and its top-left corner, that of the screen's placed cabinets, at 0,0; a legend stands below it, and a
    // picture with a legend is at least 280 pixels wide. With `maxWidth`, a map that is wider is scaled down to that
    // width. Pictures need no GUI application and no fonts. Null for a screen that is unknown or has no cabinets, and
    // for a picture of more than 2^26 pixels.

    /// The cabinets in their device's colour, each with its id and its output; inside them receiving cards (framed) and
    /// modules (tiles), with their ids. What would be too small to tell apart or to read is left out. The legend names
    /// the screen and its devices.
    QImage layoutPicture(const QString &screenId, int maxWidth = 0) const;
    /// Heat map of the working values at index `channel` (0 to 8; for multilayer the byte's index) of every pixel. Its
    /// colours run from the range's least value to its greatest; values beyond have the colour of the nearest end. An
    /// empty range stands for that of the values themselves. A picture pixel that stands for several pixels shows their
    /// mean. The legend says which value, of how many pixels, and the colour scale; it takes the nine chroma values for
    /// the rows of a 3 x 3 matrix from input to output colours. Null for a channel that the pixels of one of the devices
    /// do not have.
    QImage coefficientPicture(const QString &screenId, int channel, Kind kind = Kind::Chroma,
                              const ValueRange &range = ValueRange(), int maxWidth = 0) const;
    /// The least and greatest of these values, so that two pictures can share one scale. Empty where the picture would be
    /// null.
    ValueRange coefficientRange(const QString &screenId, int channel, Kind kind = Kind::Chroma) const;
    /// What the screen shows: every device draws from the request that it received, and nothing else, onto its
    /// cabinets. No legend.
    /// - Pixels: black; inside "regionrect" (frame: Device::rect()) blocks of the size of "singlerect" in "color". The
    ///   first lies at singlerect's x and y within the region; they repeat to the right and downwards every width *
    ///   (intervalX + 1) and height * (intervalY + 1) pixels.
    /// - Checkers: black; inside "regionRect" squares. The first column is firstSquareW wide, the last, at the right end,
    ///   lastSquareColumnW; those between them squareW, as many as it takes, the last of these cut where they do not come
    ///   out even. Where the columns overlap, the first one shows, then the last. Rows alike. The square at column c and
    ///   row r has colour number (c + r) mod N.
    /// - Clear and None: black, for a virtual wall has no video input.
    QImage patternPicture(const QString &screenId, Light light = Light::Nominal) const;

private:
    VirtualWall();
    ~VirtualWall();

    friend class Wall;
    std::unique_ptr<Wall> d;
};

} // namespace Simulator
