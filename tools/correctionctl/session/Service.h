#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtGui/QImage>

/// The device service that this program was linked with: everything that the library's own interface does not provide. One
/// source file defines it: VirtualService.cpp for the virtual wall or a loaded backend, through the adapter;
/// DeviceService.cpp for a service that is linked in, which refuses what it cannot do. All functions throw a Failure on an
/// error.
namespace Ctl {
namespace Service {

/// One call of the service.
struct Exchange {
    QString operation; ///< "Correctionop::loadCoefficient"
    QString device;    ///< Device key; empty for discovery's own operations.
    QString request;   ///< The whole call as one line, long strings cut.
    QString answer;    ///< The reply as one line, long strings cut; empty without one.
    bool success = false;
    double milliseconds = 0;
    QString note;         ///< The service's reason for refusing the request, if it gives one.
    QString damage;       ///< What the reply lacks despite success (Replies.h); null if nothing.
    qint64 bytes = 0;     ///< Of coefficients and files in the request.
    QStringList cabinets; ///< Ids that the request names.
};

/// The outcome of the calls of one operation to one device.
struct Outcome {
    QString device;
    QString operation;
    bool changes = false; ///< Changes the device or its lock.
    int done = 0;
    int refused = 0; ///< Returned false, threw, or the promise was rejected or did not settle.
    QString reason;  ///< Of the first refusal, if the service gives one.
    QString damage;  ///< What the first reply lacks that lacks anything despite success (Replies.h); null if none does.
};

/// The cabinets that a device's replies to discovery name, by id.
struct Announced {
    QStringList listed; ///< As connected to the device.
    QStringList placed; ///< On the device's screen.
};

/// How far the discovery is.
struct Discovered {
    int listed = 0;   ///< Devices; 0 before they are listed.
    int finished = 0; ///< Of them, those before the one that is queried.
    QString device;   ///< The one that is queried.
};

/// The result of a replay.
struct Replayed {
    int answered = 0;
    int remaining = 0;
    QString difference; ///< The first call that differs from the recording, both sides; empty if none did.
};

/// "virtual wall", "backend" or "device service".
QString name();
/// Whether this program has the virtual wall, and can load backends.
bool hasWall();
/// Whether the virtual wall is in use: uploads that were not saved are lost when this program ends, as after a power
/// failure.
bool isWall();
/// Whether saved values survive this program: not on a virtual wall that is not a directory.
bool keepsWhatIsSaved();
enum class Access { ReadOnly, ReadWrite };
/// Installs the wall: a preset's name, a wall file or a wall directory. Call once, before discovery. ReadOnly: a directory
/// is not locked, so another process may have it open.
void open(const QString &wall, Access access);
/// Installs the backend of a plug-in, "FILE" or "FILE:CONFIGURATION". Otherwise like open().
void openBackend(const QString &source);
/// Replays a recording instead of opening a wall.
void openRecording(const QString &path);
/// Releases the wall or the backend, and ends the recording.
void close();

/// From here on, requests that change a device return success without reaching it.
void holdBackWrites();
/// The requests that were held back, oldest first.
QVector<Exchange> heldBack();
/// Begins to keep the calls of the service, none so far.
void forgetExchanges();
/// The calls since the last forgetExchanges(), oldest first; none before the first.
QVector<Exchange> exchanges();
/// Keys of the devices that discovery lists, also of those that do not answer.
QStringList listedDevices();
/// The cabinets of the last discovery, by device. Empty where isWatched() is false.
QMap<QString, Announced> announced();
/// Safe to call on any thread. All zero where isWatched() is false.
Discovered discovered();
/// Whether outcomes() are known: not with a service that is linked in.
bool isWatched();
/// The calls of devices since the service was opened, by device and operation.
QVector<Outcome> outcomes();
/// The calls that devices refused, or replied to with damage, since the last call of this function.
QVector<Outcome> takeRefusals();

/// Writes every call to a new file from here on, one JSON object a line.
void record(const QString &path);
Replayed replayed();

/// The wall's own description, as JSON.
QByteArray describe();
/// Makes a wall directory. `source` is a preset's name or a wall file.
void create(const QString &directory, const QString &source);

enum class Picture { Layout, Coefficients, Pattern };
/// How a picture is drawn.
struct PictureForm {
    int channel = 0;   ///< Of a pixel's chroma values, that coefficients show.
    int least = 0;     ///< Of the coefficients' colour scale.
    int greatest = -1; ///< Less than `least`: the scale is that of the values.
    int width = 0;     ///< At most; 0: one picture pixel for each pixel.
};
/// What a screen is made of, holds or shows.
QImage render(Picture picture, const QString &screenId, const PictureForm &form);

/// A camera in front of the virtual wall: the fields of Simulator::Camera that options set. A sensor takes X, Y and Z one
/// after another behind three filters, each exposed so that full scale is a little above the greatest light.
struct Camera {
    int photosites = 0; ///< For each pixel, along an axis; 0: an ideal colorimeter, and nothing else counts.
    double blur = 0;    ///< In pixel pitches.
    double noise = 0;   ///< At full scale, relative to it.
    double tilt = 0;
    int bits = 0;
    quint64 seed = 1; ///< Of the noise: another one for each photo.
};
/// What it saw.
struct Photo {
    QSize size;
    QVector<float> xyz;         ///< X, Y, Z in cd/m2 of each photosite, row by row.
    QVector<double> homography; ///< Nine numbers, row by row: from the screen's pixels to photosites.
    QImage picture;             ///< In sRGB, where requested.
};
/// A photo of what a screen shows now. `white`: the luminance in cd/m2 that is white in the picture; 0: no picture.
Photo photograph(const QString &screenId, const Camera &camera, double white);

} // namespace Service
} // namespace Ctl
