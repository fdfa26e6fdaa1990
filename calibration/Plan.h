#pragma once

#include <calibration/CalibrationGlobal.h>
#include <calibration/Measurement.h>

#include <Correction/DrawingParameter.h>
#include <Correction/Enumerations.h>

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QVector>
#include <QtGui/QTransform>

namespace Calibration {

/// A test image of a plan and the photo that is taken of it.
struct Shot {
    Led led;                            ///< The colour of the lit pixels.
    QPoint phase;                       ///< The first lit pixel, from the screen's corner.
    Correction::DrawingParameter image; ///< For `IScreen::setPixelImage`.
};

/// Which test images to show so that a camera can measure every pixel by itself, and how to take the photos apart.
///
/// In each test image single pixels are lit in one colour, with `interval` dark pixels between two of them; (interval + 1)^2
/// images, each with another first pixel, light every pixel once. Lit pixels that are far enough apart do not bleed into
/// each other on the photo. The light of a pixel is collected over a square of (interval + 1)^2 pixels with the lit one in
/// the middle.
///
/// The test images begin at different corners of `screenPartRect` instead of different offsets of the block: this way the
/// blocks of all devices are complete and in step.
class CALIBRATION_API Plan
{
public:
    /// `screen` is the rectangle of `IScreen::tryGetRect`. No shots for an empty rectangle or a negative interval.
    Plan(const QRect &screen, int interval);

    /// The least interval at which no more than `leak` of a pixel's light falls outside its square, along one axis, when
    /// that light is spread on the photo as a normal distribution of the standard deviation `spread`, in pixels of the
    /// screen. It is wider than the point spread of the camera: sqrt(b^2 + w^2 / 12) for a point spread b and pixels that
    /// shine evenly from a square w wide. 0 for a spread that is not positive; at most 31.
    static int intervalFor(double spread, double leak = 0.03);

    /// The rectangle that the plan is for, in screen pixels.
    QRect screen() const { return m_screen; }
    /// Dark pixels between two lit ones.
    int interval() const { return m_interval; }
    /// Red, green, then blue; the phases row by row.
    const QVector<Shot> &shots() const { return m_shots; }
    /// Whether a pixel, counted from the screen's corner, is lit in a shot.
    bool isLit(const Shot &shot, const QPoint &pixel) const;

    /// Takes the light of the shot's lit pixels from a photo into their LED's values of `measurement`, which has the size of
    /// the screen. Begin with `Measurement(screen.size())`; photos may come in any order, one at a time.
    ///
    /// The photo has one point for each pixel of the screen, as that of an ideal colorimeter: its light is taken as it is.
    /// `enOutOfRange`, with one critical line: the number of the shot, or a size that is not the screen's.
    Correction::EnumErrorCode takeApart(int shot, const LightImage &photo, Measurement &measurement) const;

    /// The same for a photo of any size. `toPhoto` maps the screen, in pixels from its corner (the first pixel's centre is
    /// 0.5, 0.5), to the photo, in photosites from its corner (likewise): a homography.
    ///
    /// A photosite holds light per area, as cd/m2 are. Of a square that reaches beyond the photo, the opposite points are
    /// taken in place of those outside; a pixel whose middle is outside becomes NaN. `enInvalidParameter`, with one critical
    /// line: a homography that cannot be inverted or maps a part of the screen to infinity. Otherwise as above.
    Correction::EnumErrorCode takeApart(int shot, const LightImage &photo, const QTransform &toPhoto,
                                        Measurement &measurement) const;

private:
    Correction::EnumErrorCode check(int shot, const LightImage &photo, const Measurement &measurement) const;

    QRect m_screen;
    int m_interval;
    QVector<Shot> m_shots;
};

} // namespace Calibration
