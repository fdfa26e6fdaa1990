#include "Figures.h"
#include "Patterns.h"
#include "Rows.h"
#include "files/Files.h"
#include "files/Json.h"
#include "files/LightFiles.h"
#include "session/Service.h"
#include "session/Transfer.h"
#include "terminal/Interrupt.h"
#include "terminal/Progress.h"

#include <calibration/Plan.h>

#include <QtCore/QFileInfo>
#include <QtGui/QRegion>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace Correction;
using Calibration::LightImage;
using Calibration::Measurement;
using Calibration::Plan;

namespace Ctl {
namespace {

constexpr double defaultBlur = 0.45; // pixel pitches
constexpr double greatestBlur = 16;

const char *const sensorOptions[] = {"--photosites", "--blur", "--noise", "--bits", "--tilt", "--seed"};

/// RAII: takes the last test image away. When a failure is on its way, that one is reported.
class TestImages
{
public:
    explicit TestImages(IScreen &screen) : m_screen(screen) {}
    TestImages(const TestImages &) = delete;
    TestImages &operator=(const TestImages &) = delete;
    ~TestImages()
    {
        if (m_isShown)
            clearTestImage(m_screen);
    }

    void show(const DrawingParameter &image, const QString &name)
    {
        m_isShown = true;
        check(m_screen.setPixelImage(image),
              QStringLiteral("screen %1: showing the test image %2").arg(m_screen.getID(), name));
    }
    void end()
    {
        m_isShown = false;
        check(clearTestImage(m_screen), QStringLiteral("screen %1: clearing the test image").arg(m_screen.getID()));
    }

private:
    IScreen &m_screen;
    bool m_isShown = false;
};

/// Photos of a part of a screen.
class Camera
{
public:
    /// `part`: in pixels from the corner of the screen, whose size is `whole`.
    Camera(const QString &screenId, const Service::Camera &camera, const QSize &whole, const QRect &part)
        : m_screenId(screenId), m_camera(camera), m_whole(whole), m_part(part)
    {
    }

    bool isIdeal() const { return m_camera.photosites == 0; }
    /// An ideal camera's has just the pixels of the part.
    LightImage photograph(double white = 0)
    {
        const Service::Photo photo = Service::photograph(m_screenId, m_camera, white);
        ++m_camera.seed;
        const QSize expected = isIdeal() ? m_whole : m_whole * m_camera.photosites;
        if (photo.size != expected)
            throw Failure(ExitIncomplete, QStringLiteral("screen %1: a photo shows %2 photosites, expected are %3: the "
                                                         "screen is not as it was discovered")
                                              .arg(m_screenId, sizeText(photo.size), sizeText(expected)));
        m_homography = photo.homography;
        m_picture = photo.picture;
        LightImage image{photo.size, photo.xyz};
        if (!isIdeal() || m_part == QRect(QPoint(), m_whole))
            return image;
        LightImage part{m_part.size(), {}};
        for (int y = m_part.top(); y <= m_part.bottom(); ++y)
            part.xyz += image.xyz.mid((y * m_whole.width() + m_part.left()) * 3, m_part.width() * 3);
        return part;
    }
    /// Of the last photo, from the part's pixels.
    QVector<double> homography() const
    {
        const QVector<double> &h = m_homography;
        const double x = m_part.x();
        const double y = m_part.y();
        return {h[0], h[1], h[0] * x + h[1] * y + h[2], h[3], h[4], h[3] * x + h[4] * y + h[5],
                h[6], h[7], h[6] * x + h[7] * y + h[8]};
    }
    const QImage &picture() const { return m_picture; }

private:
    QString m_screenId;
    Service::Camera m_camera;
    QSize m_whole;
    QRect m_part;
    QVector<double> m_homography;
    QImage m_picture;
};

Service::Camera cameraOf(const Arguments &arguments)
{
    Service::Camera camera;
    if (arguments.text("--camera", QStringLiteral("ideal")) != QLatin1String("sensor")) {
        for (const char *option : sensorOptions) {
            if (arguments.has(option))
                throw Failure(ExitUsage, QStringLiteral("%1 belongs to --camera sensor").arg(QLatin1String(option)));
        }
        return camera;
    }
    camera.photosites = arguments.integer("--photosites", 5);
    camera.blur = decimal(arguments, "--blur", 0, greatestBlur).value_or(defaultBlur);
    camera.noise = decimal(arguments, "--noise", 0, 1).value_or(0.01);
    camera.bits = arguments.integer("--bits");
    camera.tilt = decimal(arguments, "--tilt", 0, 1).value_or(0);
    constexpr quint64 mostPhotos = 1 << 16; // for each seed
    camera.seed = quint64(arguments.number("--seed", 1)) * mostPhotos;
    return camera;
}

/// Dark pixels between two lit ones that a camera of this blur needs. A pixel shines from its whole width, which adds to the
/// spread of its light.
int intervalFor(double blur)
{
    constexpr double variance = 1.0 / 12; // of an evenly shining pixel
    return Plan::intervalFor(std::sqrt(blur * blur + variance));
}

/// Those that the options choose.
int intervalOf(const Arguments &arguments, int otherwise)
{
    if (!arguments.has("--full-field"))
        return arguments.integer("--interval", otherwise);
    if (arguments.has("--interval"))
        throw Failure(ExitUsage, QStringLiteral("--full-field and --interval exclude each other"));
    return 0;
}

QDir madeFolder(const QString &path)
{
    const QDir folder(path);
    if (!folder.mkpath(QStringLiteral(".")))
        throw Failure(ExitCannotWrite, path + QStringLiteral(": the directory cannot be made"));
    return folder;
}

/// Takes a photo apart, and gives its name to a failure.
void takeApart(const Plan &plan, int shot, const LightImage &photo, const QVector<double> &homography,
               Measurement &measurement, const QString &name)
{
    const EnumErrorCode code = homography.isEmpty() ? plan.takeApart(shot, photo, measurement)
                                                    : plan.takeApart(shot, photo, transformOf(homography), measurement);
    check(code, QStringLiteral("%1: taking the photo of %2 pixels apart").arg(name, sizeText(photo.size)));
}

void reportPlan(Session &session, const QString &target, const Plan &plan)
{
    session.out().data({{QStringLiteral("target"), target},
                        {QStringLiteral("rect"), rectJson(plan.screen())},
                        {QStringLiteral("interval"), plan.interval()},
                        {QStringLiteral("shots"), plan.shots().size()}});
}

/// Writes the measurement and prints its figures.
void keep(Session &session, const QString &target, const Plan &plan, Measurement &measurement, const QString &path)
{
    measurement.markDead();
    const Calibration::Target mean = meanOf(measurement);
    if (!mean.isValid())
        throw Failure(ExitBadData, QStringLiteral("%1: no pixel of the photos shines in red, green and blue").arg(target));
    writeLight(path, measurement.size(), Calibration::lightLength, measurement.values());
    reportPlan(session, target, plan);
    Figures figures(QStringLiteral("LIGHT"));
    const QJsonArray measured = figures.add(QStringLiteral("measured"), measurement, mean);
    session.out().data({{QStringLiteral("file"), path},
                        {QStringLiteral("pixels"), pixelsJson(measurement)},
                        {QStringLiteral("figures"), measured}});
    warnOfDead(session, measurement);
    session.out().line(QStringLiteral("%1: %2 pixels measured with %3 into %4")
                           .arg(target, sizeText(measurement.size()), counted(plan.shots().size(), "test image"), path));
    session.out().line(pixelsText(measurement) + QStringLiteral("; colour differences are those to the mean:"));
    figures.print(session.out());
}

void measureScreen(Session &session)
{
    const Arguments &arguments = session.arguments();
    const QString path = arguments.text("FILE");
    if (path.isEmpty())
        throw Failure(ExitUsage, QStringLiteral("expected SCREEN and FILE, SCREEN --plan DIRECTORY, or --from DIRECTORY "
                                                "FILE"));
    const Service::Camera form = cameraOf(arguments);
    checkLightWritable(path);
    const QString picture = arguments.text("--picture");
    if (!picture.isEmpty() && formOf(picture) != FileForm::Png)
        throw Failure(ExitUsage, QStringLiteral("--picture %1: expected a .png").arg(picture));
    if (!picture.isEmpty())
        checkWritable(picture);
    else if (arguments.has("--exposure"))
        throw Failure(ExitUsage, QStringLiteral("--exposure belongs to --picture"));
    if (Service::hasWall())
        session.openService();
    if (!Service::isWall())
        throw Failure(ExitUsage,
                      QStringLiteral("this program has no camera for a %1: --plan DIRECTORY writes the test images "
                                     "for a real camera, --from DIRECTORY takes its photos apart")
                          .arg(Service::name()));

    IScreen &screen = session.screen();
    IScreen *const whole = session.manager().tryGetScreen(screen.getID());
    if (!whole)
        throw Failure(ExitUsage, QStringLiteral("%1: a camera sees one screen at a time").arg(screen.getID()));
    const QRect wholeRect = Session::rectOf(*whole);
    const QRect rect = Session::rectOf(screen);
    const Plan plan(rect, intervalOf(arguments, form.photosites == 0 ? 0 : intervalFor(form.blur)));
    Measurement measurement(rect.size());
    if (measurement.isEmpty())
        throw Failure(ExitNoMemory, QStringLiteral("screen %1: %2 pixels are too many").arg(screen.getID(), rectText(rect)));
    std::optional<QDir> folder;
    if (arguments.has("--photos"))
        folder = madeFolder(arguments.text("--photos"));

    Camera camera(whole->getID(), form, wholeRect.size(), rect.translated(-wholeRect.topLeft()));
    PlanFile file(plan);
    TestImages images(screen);
    constexpr int lightBytes = 3 * sizeof(float);
    Progress progress(session.out(), QStringLiteral("measuring"), area(rect) * lightBytes * plan.shots().size());
    for (int i = 0; i < plan.shots().size(); ++i) {
        Interrupt::check(QStringLiteral("%1 of %2 photographed, no measurement written")
                             .arg(i)
                             .arg(counted(plan.shots().size(), "test image")));
        const QString name = nameOf(plan.shots()[i]);
        images.show(plan.shots()[i].image, name);
        const LightImage photo = camera.photograph();
        if (!camera.isIdeal())
            file.homography = camera.homography();
        takeApart(plan, i, photo, file.homography, measurement, name);
        if (folder)
            writeLight(folder->filePath(file.photos[i]), photo.size, 3, photo.xyz);
        progress.advance(area(rect) * lightBytes);
    }
    if (!picture.isEmpty()) {
        DrawingParameter white = Plan(rect, 0).shots().first().image;
        white.color = Qt::white;
        images.show(white, QStringLiteral("of the picture"));
        camera.photograph(decimal(arguments, "--exposure", 0.001, 1e6).value_or(1000));
    }
    images.end();
    progress.end();
    if (folder)
        file.write(*folder);

    QRegion holes(rect);
    for (const CabinetInfo &cabinet : Session::cabinetsOf(screen))
        holes -= cabinet.rect;
    for (const QRect &hole : holes) {
        for (int y = hole.top(); y <= hole.bottom(); ++y) {
            for (int x = hole.left(); x <= hole.right(); ++x)
                markHole(measurement, x - rect.left(), y - rect.top());
        }
    }
    if (!picture.isEmpty())
        writePicture(picture, camera.picture());
    keep(session, screen.getID(), plan, measurement, path);
    if (folder) {
        session.out().data({{QStringLiteral("photos"), folder->path()}});
        session.out().line(
            QStringLiteral("%1 and plan.json kept in %2").arg(counted(file.photos.size(), "photo"), folder->path()));
    }
    if (!picture.isEmpty()) {
        session.out().data({{QStringLiteral("picture"), picture}});
        session.out().line(QStringLiteral("the screen in white photographed into %1").arg(picture));
    }
}

void measurePhotos(Session &session)
{
    const Arguments &arguments = session.arguments();
    const QString path = arguments.text("SCREEN"); // the only argument is the file
    if (path.isEmpty() || arguments.has("FILE"))
        throw Failure(ExitUsage, QStringLiteral("--from: expected FILE and no SCREEN"));
    for (const Parameter &parameter : session.verb().parameters) {
        if (parameter.isOption() && parameter.key() != QLatin1String("--from") && arguments.has(parameter.name))
            throw Failure(ExitUsage, QStringLiteral("%1 has no effect with --from").arg(parameter.key()));
    }
    checkLightWritable(path);
    const QDir folder(arguments.text("--from"));
    const PlanFile file(folder);
    const Plan plan(file.screen, file.interval);
    Measurement measurement(file.screen.size());
    if (measurement.isEmpty())
        throw Failure(
            ExitNoMemory,
            QStringLiteral("%1: a screen of %2 pixels is too large").arg(folder.path(), sizeText(file.screen.size())));
    QStringList missing;
    for (const QString &photo : file.photos) {
        if (!QFileInfo::exists(folder.filePath(photo)))
            missing.append(photo);
    }
    if (!missing.isEmpty()) {
        const int count = missing.size();
        constexpr int shown = 8;
        if (count > shown)
            missing = missing.mid(0, shown) << QStringLiteral("%1 more").arg(count - shown);
        throw Failure(ExitNoInput, QStringLiteral("%1: %2 of %3 missing: %4")
                                       .arg(folder.path(), QString::number(count), counted(file.photos.size(), "photo"),
                                            missing.join(QStringLiteral(", "))));
    }
    QSize first;
    std::optional<Progress> progress;
    for (int i = 0; i < file.photos.size(); ++i) {
        Interrupt::check(QStringLiteral("no measurement written"));
        const QString photo = folder.filePath(file.photos[i]);
        const Light light = readLight(photo, 3);
        const qint64 bytes = qint64(light.values.size()) * int(sizeof(float));
        if (i == 0) {
            first = light.size;
            progress.emplace(session.out(), QStringLiteral("measuring"), bytes * file.photos.size());
        }
        if (light.size != first)
            throw Failure(ExitBadData, QStringLiteral("%1: %2 photosites; the first photo has %3")
                                           .arg(photo, sizeText(light.size), sizeText(first)));
        if (file.homography.isEmpty() && light.size != file.screen.size())
            throw Failure(
                ExitBadData,
                QStringLiteral("%1: %2 photosites for %3 pixels: plan.json needs a \"homography\", the nine numbers "
                               "that map pixels to photosites")
                    .arg(photo, sizeText(light.size), sizeText(file.screen.size())));
        takeApart(plan, i, LightImage{light.size, light.values}, file.homography, measurement, photo);
        progress->advance(bytes);
    }
    progress->end();
    keep(session, folder.path(), plan, measurement, path);
}

void writePlan(Session &session)
{
    const Arguments &arguments = session.arguments();
    if (!arguments.has("SCREEN") || arguments.has("FILE"))
        throw Failure(ExitUsage, QStringLiteral("--plan: expected SCREEN and no FILE"));
    for (const Parameter &parameter : session.verb().parameters) {
        const QStringList used{QStringLiteral("--plan"), QStringLiteral("--blur"), QStringLiteral("--interval"),
                               QStringLiteral("--full-field"), QStringLiteral("--device")};
        if (parameter.isOption() && !used.contains(parameter.key()) && arguments.has(parameter.name))
            throw Failure(ExitUsage, QStringLiteral("%1 has no effect with --plan").arg(parameter.key()));
    }
    const double blur = decimal(arguments, "--blur", 0, greatestBlur).value_or(defaultBlur);
    IScreen &screen = session.screen();
    const Plan plan(Session::rectOf(screen), intervalOf(arguments, intervalFor(blur)));
    const PlanFile file(plan);
    const QDir folder = madeFolder(arguments.text("--plan"));
    file.write(folder);
    reportPlan(session, screen.getID(), plan);
    session.out().data({{QStringLiteral("photos"), folder.path()}});
    QString devices;
    for (const QString &key : arguments.texts("--device"))
        devices += QStringLiteral(" --device ") + key;
    QVector<QStringList> rows;
    for (int i = 0; i < plan.shots().size(); ++i) {
        const DrawingParameter &image = plan.shots()[i].image;
        rows.append(
            {file.photos[i], QStringLiteral("correctionctl pattern pixel %1 --rect %2 --interval-x %3 --interval-y %3 "
                                            "--color %4%5")
                                 .arg(screen.getID(), rectText(image.screenPartRect), QString::number(plan.interval()),
                                      image.color.name(), devices)});
    }
    session.out().table({QStringLiteral("PHOTO"), QStringLiteral("OF THE TEST IMAGE")}, rows);
    session.out().line(QStringLiteral("%1: the plan; put the photos there, and the homography into plan.json")
                           .arg(folder.filePath(QStringLiteral("plan.json"))));
}

void measure(Session &session)
{
    const Arguments &arguments = session.arguments();
    if (arguments.has("--from"))
        measurePhotos(session);
    else if (arguments.has("--plan"))
        writePlan(session);
    else
        measureScreen(session);
}

} // namespace

QVector<Verb> measureVerbs()
{
    QVector<Parameter> parameters{
        optional(argument("SCREEN", Value::Screen, "id or name of a screen; left out with --from")),
        optional(argument("FILE", Value::File, "the measurement, a .npy; left out with --plan")),
        option("--plan", Value::Directory, "write the plan of test images for a real camera there, and show none"),
        option("--from", Value::Directory, "take apart the photos there, .npy, with the plan.json beside them"),
        number(option("--interval", Value::Number, "dark pixels between two lit ones; default: by the blur"), 0, 31),
        option("--full-field", Value::None, "light all pixels at once: their light mixes in the photo"),
        decimalOption("--blur", "PIXELS",
                      "spread of the camera's light, which sets the distance of lit pixels; default: 0.45"),
        deviceOption};
    if (Service::hasWall())
        parameters +=
            {choice(option("--camera", Value::Choice,
                           "ideal: exact light of every pixel; sensor: with blur and noise; default: ideal"),
                    "ideal|sensor"),
             number(option("--photosites", Value::Number, "of a sensor for each pixel, along an axis; default: 5"), 1, 32),
             decimalOption("--noise", "SHARE", "of a sensor at full scale; default: 0.01"),
             number(option("--bits", Value::Number, "of a sensor; default: 0, not rounded"), 0, 24),
             decimalOption("--tilt", "SHARE", "how much higher the left edge of the screen looks to a sensor; default: 0"),
             number(option("--seed", Value::Number, "of a sensor's noise; default: 1"), 0, intMax),
             option("--photos", Value::Directory, "keep the photos there, with a plan.json for --from"),
             option("--picture", Value::File, "photograph the screen in white, too, as an sRGB picture, a .png"),
             decimalOption("--exposure", "CD", "luminance in cd/m2 that is white in the picture; default: 1000")};
    return {
        wholeScreen(reads("measure", "Measure the light of every pixel with test images and a camera", parameters,
                          "correctionctl measure arena-main measured.npy --device left", "measurement", measure,
                          "IScreen::setPixelImage ISubScreen::setPixelImage IScreen::setCheckerboardlImage "
                          "ISubScreen::setCheckerboardlImage")),
    };
}

} // namespace Ctl
