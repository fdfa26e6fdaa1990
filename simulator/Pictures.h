#pragma once

#include <simulator/Camera.h>
#include <simulator/PictureTypes.h>
#include <simulator/SimulatorGlobal.h>
#include <simulator/StateTypes.h>

#include <QtCore/QString>
#include <QtGui/QImage>

#include <mutex>

namespace Simulator {

struct WallState;

/// Pictures of a wall. See VirtualWall::pictures().
///
/// 32-bit RGB, made from the state of one moment. The map of the screen has one picture pixel for each pixel of the
/// screen and its top-left corner, that of the screen's placed cabinets, at 0,0; a legend is below it, and a
/// picture with a legend is at least 280 pixels wide. With `maxWidth`, a map that is wider is scaled down to that
/// width. One that is more than eight times as wide as high and would be less than 64 pixels high keeps that height (or
/// the screen's, if it is less) and is cut into strips of at most that width, one below the other, each with its columns
/// above it; not where these would be more than 1000, or too large for a picture.
///
/// Pictures need no GUI application and no installed fonts, unlike Qt's text: they have a bitmap font of their own, with the
/// letters of the Latin, Greek and Cyrillic scripts. Other characters are written as "\u5927".
///
/// Null for a screen that is unknown or has no cabinets, and for a picture of more than 2^26 pixels.
class SIMULATOR_API Pictures
{
public:
    /// The cabinets in their device's colour, each with its id and its output; inside them receiving cards (framed) and
    /// modules (tiles), with their ids. What would be too small to see or read is left out. The legend names
    /// the screen and its devices.
    QImage layout(const QString &screenId, int maxWidth = 0) const;
    /// Heat map of the working values at index `channel` (0 to 8; for multilayer the byte's index) of every pixel. Its
    /// colours run from the range's least value to its greatest; values beyond have the colour of the nearest end. An empty
    /// range: that of the values. A picture pixel that covers several pixels shows their mean. The legend names the value,
    /// of how many pixels, and the colour scale; it takes the nine chroma values for the rows of a 3 x 3 matrix from input
    /// to output colours. Null for a channel that the pixels of one of the devices do not have.
    QImage coefficients(const QString &screenId, int channel, Kind kind = Kind::Chroma,
                        const ValueRange &range = ValueRange(), int maxWidth = 0) const;
    /// The least and greatest of these values, so that two pictures can share one scale. Empty where the picture would be
    /// null.
    ValueRange coefficientRange(const QString &screenId, int channel, Kind kind = Kind::Chroma) const;
    /// What the screen shows: every device draws its cabinets from the request that it received only. Devices that are
    /// unplugged are black. No legend.
    /// - Pixels: black; inside "regionrect" (frame: Device::rect()) blocks of the size of "singlerect" in "color". The first
    /// is at singlerect's x and y within the region; they repeat to the right and downwards every width *
    ///   (intervalX + 1) and height * (intervalY + 1) pixels.
    /// - Checkers: black; inside "regionRect" squares. The first column is firstSquareW wide, the last, at the right end,
    ///   lastSquareColumnW; those between them squareW, as many as it takes, the last of these cut where they do not come
    ///   out even. Where the columns overlap, the first one shows, then the last. Rows alike. The square at column c and
    ///   row r has colour number (c + r) mod N.
    /// - Clear and None: black, for a virtual wall has no video input.
    QImage pattern(const QString &screenId, Light light = Light::Nominal) const;
    /// What a camera sees of the screen: the test images of pattern(), in the light of the LEDs (Device::leds) after gamma,
    /// brightness and working coefficients; docs/light.md has the formulas. Devices that are unplugged are dark. Null also
    /// for a camera whose fields are out of range, and for more than 2^27 photosites.
    Photo photograph(const QString &screenId, const Camera &camera = Camera()) const;

private:
    friend struct Wall;
    Pictures(std::mutex &mutex, const WallState &state) : m_mutex(mutex), m_state(state) {}

    std::mutex &m_mutex;
    const WallState &m_state;
};

} // namespace Simulator
