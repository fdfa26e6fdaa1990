#pragma once

#include <simulator/Leds.h>
#include <simulator/SimulatorGlobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QString>

#include <array>

/// What a virtual wall is made of. Plain values, all lengths in pixels; a description handed to the wall is copied. Two
/// are equal when every field is.
namespace Simulator {

/// A module of a receiving card.
struct Module {
    QString id;   ///< Unique within its cabinet: module flags and flash check codes are addressed by it.
    QString flag; ///< Free text.
    QRect rect;   ///< Place within the cabinet.
};

/// A receiving card of a cabinet.
struct ReceivingCard {
    QString id;            ///< Free text; flash check replies give it as a number (0 when it is none).
    QString flag;          ///< Free text.
    QRect rect;            ///< Place within the cabinet.
    QList<Module> modules; ///< Their places are within the cabinet.
};

/// A cabinet. Its coefficient planes have exactly `size`.
struct Cabinet {
    QString id;       ///< A decimal number, unique within its device (but see Device::allowDuplicateIds). Compared by
                      ///< number where a request holds a number.
    QString outputId; ///< The device's output that it hangs on; flash check replies give it as a number.
    QPoint position;  ///< Relative to its sub-screen.
    QSize size;       ///< Columns and rows.
    QString flag;     ///< Free text.
    QList<ReceivingCard> receivingCards; ///< In the order of the device's reply.
    bool placed = true;                  ///< false: the device lists the cabinet, but its screen reply has no place for it.
    bool listed = true; ///< false: the screen reply places the cabinet, but the device's list of cabinets lacks it.
};

/// A placed set of cabinets of one device.
struct SubScreen {
    QPoint position;         ///< Relative to the device's screen position.
    QList<Cabinet> cabinets; ///< In the order of the device's reply.
};

/// How long a device takes to answer, in milliseconds of the wall's clock. The calls of one device follow each other;
/// those of different devices overlap.
struct Timing {
    int latency = 0;             ///< Before every answer.
    int jitter = 0;              ///< Up to this much is added to each latency, chosen randomly.
    qint64 bytesPerSecond = 0;   ///< For the characters of a call's request and reply texts; 0: no limit.
    bool settleInThread = false; ///< Uploads with a promise settle from a thread of the wall, not from the event loop
                                 ///< of the thread that called.
};

/// Something that goes wrong when a device is called.
struct Fault {
    /// FaultTypes.def and docs/faults.md describe each.
    enum Type {
#define FAULT(type, name, calls, note, about) type,
#include <simulator/FaultTypes.def>
    };
    Type type = NoAnswer; ///< What goes wrong.
    QString operation;    ///< "Class::operation" as in Call::operation, or null for every one.
    QString target;       ///< Cabinet id or screen selector; null for any.
    int after = 0;        ///< The first calls that match and are left alone.
    int times = -1;       ///< How many calls after those go wrong; negative: all.
    int milliseconds = 0; ///< For LateAnswer.
    QString key;          ///< For MissingKey and WrongType.
    QString status;       ///< For Status, such as "404".
};

/// A controller device with all that it drives. Devices with the same `screenId` make up one screen.
struct Device {
    QString key;        ///< Device key: first argument of every operation.
    QString label;      ///< What discovery shows.
    QString customName; ///< "customName" of the hardware information.

    QString screenId;               ///< "screenUUID"
    QString screenName;             ///< "screenName"
    bool useScreenName = true;      ///< "expendInfo.isAllowSingleDev": the screen is called `screenName`, else `customName`.
    QPoint screenPosition;          ///< Origin of this device's screen reply, screen coordinates.
    QList<SubScreen> subScreens;    ///< In the order of the screen reply.
    bool allowDuplicateIds = false; ///< For broken devices: a wall file may give one id to several cabinets.
    bool allowOverlaps = false;     ///< Likewise: it may place cabinets on top of each other.

    int brightnessMin = 0;        ///< Brightness requests below `brightnessMin` or above `brightnessMax` are refused.
    int brightnessMax = 10000;    ///< See `brightnessMin`.
    int brightnessDefault = 5000; ///< Brightness of every cabinet until one is set.

    bool multilayerCorrection = true;   ///< "multilayercorrection" of the feature table; the following alike.
    int multilayerCorrectionLayers = 4; ///< "multilayerCorrectionLayer"
    bool fineGrayscale = true;          ///< "fineGrayscale"
    bool xBitPlus = true;               ///< "xBitPlus"
    bool magicGray = false;             ///< "magicGray"

    int multilayerBytesPerPixel = 16;  ///< Length of a pixel in multilayer planes and blocks.
    bool checkerboardSupported = true; ///< false: checkerboard requests are refused, with status 404 in the headers.

    Leds leds;                   ///< How its pixels shine (docs/light.md).
    int coefficientUnit = 32768; ///< The chroma or low-gray value that stands for 1. From 1 to 65535.

    QString personality; ///< One of personalityNames(); empty for "obedient".
    Timing timing;       ///< Added to what the personality has.
    QList<Fault> faults; ///< Likewise; of those that apply to a call the last one counts.

    /// The rectangle of one of its cabinets, screen coordinates. Null for a cabinet that is not placed, has no area, or
    /// reaches beyond 2^29 pixels from the screen's origin.
    SIMULATOR_API QRect rect(const SubScreen &subScreen, const Cabinet &cabinet) const;
    /// The cabinets' rectangles united: the frame of the device's test patterns. Null without cabinets.
    SIMULATOR_API QRect rect() const;
};

/// Something that happens to a device by itself.
struct Event {
    /// What happens.
    enum Type {
        Unplug,     ///< As VirtualWall::unplug().
        Plug,       ///< As VirtualWall::plug(): the device is back, with what it had saved.
        Rename,     ///< As VirtualWall::renameScreen() with `name`.
        Restart,    ///< As VirtualWall::restartDevice().
        AddFault,   ///< As Faults::add() with `fault`.
        ClearFaults ///< As Faults::clear().
    };
    qint64 at = 0;      ///< Milliseconds of the wall's clock since the wall was set up.
    Type type = Unplug; ///< What happens.
    QString deviceKey;  ///< To which device.
    QString name;       ///< For Rename.
    Fault fault;        ///< For AddFault.
};

/// A whole wall: what a wall file holds.
struct WallDescription {
    QString title;            ///< Free text.
    QList<Device> devices;    ///< In the order in which discovery lists them.
    QList<Event> events;      ///< In any order; those of one moment happen in the order of the list.
    quint64 seed = 1;         ///< Of all random numbers: jitter, shuffled replies, chaos. At most 2^53.
    double chaos = 0.0;       ///< Share of the calls, 0 to 1, that meet a random fault.
    int replyBlockHeight = 0; ///< See State::setReplyBlockHeight().
    /// See State::setDefaultPixel(); by Kind: chroma, multilayer, low gray. An empty one leaves the choice to the devices.
    std::array<QByteArray, 3> defaultPixels;
};

#define SIMULATOR_EQUALITY(Type)                                                                                            \
    SIMULATOR_API bool operator==(const Type &a, const Type &b);                                                            \
    inline bool operator!=(const Type &a, const Type &b)                                                                    \
    {                                                                                                                       \
        return !(a == b);                                                                                                   \
    }
SIMULATOR_EQUALITY(Module)
SIMULATOR_EQUALITY(ReceivingCard)
SIMULATOR_EQUALITY(Cabinet)
SIMULATOR_EQUALITY(SubScreen)
SIMULATOR_EQUALITY(Timing)
SIMULATOR_EQUALITY(Fault)
SIMULATOR_EQUALITY(Device)
SIMULATOR_EQUALITY(Event)
SIMULATOR_EQUALITY(WallDescription)
#undef SIMULATOR_EQUALITY

/// A device whose cabinets form a regular grid with its top-left corner at `origin` (screen coordinates). The ids count
/// up from `firstCabinetId`, row by row; row r hangs on output r + 1 ("1", "2", ...). Each cabinet has one receiving
/// card "0" over its whole area with 2 x 2 modules "0" to "3". Screen id "screen", screen name "Screen"; label and
/// custom name are made from the key.
SIMULATOR_API Device gridDevice(const QString &key, const QPoint &origin, int columns, int rows, const QSize &cabinetSize,
                                int firstCabinetId = 1);

} // namespace Simulator
