#pragma once

#include <simulator/SimulatorGlobal.h>

#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtGui/QImage>

#include <array>
#include <vector>

namespace Simulator {

/// What maps points of one plane to another: a 3 x 3 matrix, row by row, for (x, y, 1).
using Homography = std::array<double, 9>;

/// A camera in front of a screen. As it is, an ideal colorimeter: exactly the light of every pixel. docs/light.md has the
/// formulas.
struct SIMULATOR_API Camera {
    /// The sensor has this many times this many photosites for each pixel of the screen, up to 32, each of which measures
    /// X, Y and Z. 0: no sensor but an ideal colorimeter; the other fields are not used.
    int photosites = 0;
    double blur = 0.0; ///< Standard deviation of the Gaussian point spread, in pixel pitches, up to 16.
    /// From the screen's pixels (the first one's centre is 0.5, 0.5) to the places where the camera sees them, in the same
    /// unit. See tilted().
    Homography view{{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    double fullScale = 2000.0; ///< X, Y or Z, in cd/m2, at which a photosite saturates. Greater than 0.
    double shotNoise = 0.0;    ///< Standard deviation at full scale, relative to it; it grows with the square root of light.
    double readNoise = 0.0;    ///< Standard deviation in the dark, relative to full scale.
    int bits = 0;              ///< Values are rounded to 2^bits levels, up to 24 bits. 0: not rounded.
    quint64 seed = 1;          ///< Of the noise.

    /// A view from the left: the right edge of the screen looks 1 / (1 + tilt) times as high as the left one, which stays
    /// where it is. `tilt` is 0 or greater.
    static Homography tilted(const QSize &screen, double tilt);
};

/// What a camera saw.
struct SIMULATOR_API Photo {
    QSize size;             ///< In photosites, or in pixels of the screen for an ideal colorimeter.
    std::vector<float> xyz; ///< CIE 1931 X, Y and Z in cd/m2 of each, row by row.
    /// From the screen's pixels (0, 0 is the top-left corner of its placed cabinets) to the photosites; the centre of the
    /// first one is 0.5, 0.5.
    Homography homography{{1, 0, 0, 0, 1, 0, 0, 0, 1}};

    /// Whether there is no photo.
    bool isNull() const { return xyz.empty(); }
    /// In sRGB (IEC 61966-2-1), 32-bit RGB: `white` is the luminance in cd/m2 of 255, 255, 255. What sRGB lacks is clipped.
    /// Null for a null photo, and unless `white` is greater than 0.
    QImage image(double white) const;
    /// Writes a .npy file (NumPy's format, version 1.0): float32, height x width x 3. False, and `error` set, where that is
    /// not possible; the file is written whole or not at all.
    bool writeNpy(const QString &path, QString *error = nullptr) const;
};

} // namespace Simulator
