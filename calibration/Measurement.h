#pragma once

#include <calibration/CalibrationGlobal.h>

#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QVector>

namespace Calibration {

/// Light at a grid of points, row by row: X, Y and Z of each (CIE 1931; Y in cd/m2), as a NumPy array of the shape (height,
/// width, 3). NaN where the light is not known.
struct LightImage {
    QSize size;         ///< In points.
    QVector<float> xyz; ///< Three values for each point.

    /// At least one point, and three values for each.
    bool isValid() const
    {
        return size.width() > 0 && size.height() > 0 && qint64(size.width()) * size.height() * 3 == xyz.size();
    }
};

/// An LED of a pixel, and the place of its values in a measurement.
enum class Led {
    Red,   ///< Values 0 to 2.
    Green, ///< Values 3 to 5.
    Blue   ///< Values 6 to 8.
};

/// What a pixel is asked to show, at full level.
enum class Input {
    Red,   ///< The red LED alone.
    Green, ///< The green LED alone.
    Blue,  ///< The blue LED alone.
    White  ///< All three.
};

/// What is known of a pixel.
enum class PixelState : quint8 {
    Live, ///< Is corrected, if its values are known.
    Hole, ///< There is no LED.
    Dead, ///< At least one LED gives no light, or next to none.
};

/// Values of a pixel of a measurement: XR YR ZR XG YG ZG XB YB ZB.
constexpr int lightLength = 9;

/// The light of every pixel of a screen: CIE 1931 XYZ of its red, green and blue LED at full drive, Y in cd/m2 over the area
/// of the pixel. Taken from an uncorrected wall it is what coefficients are calculated from; from a corrected one, what the
/// wall shows for full red, green and blue.
///
/// A NumPy array of the shape (height, width, 9). The values are shared between copies until one of them is changed.
class CALIBRATION_API Measurement
{
public:
    /// Without pixels.
    Measurement() = default;
    /// All pixels live and all values NaN: not measured. Without pixels for a size that is empty or whose values exceed one
    /// container (2 GiB).
    explicit Measurement(const QSize &size);
    /// All pixels live. Without pixels also if the number of values is not that of the size.
    Measurement(const QSize &size, const QVector<float> &values);

    /// Whether there are no pixels.
    bool isEmpty() const { return m_values.isEmpty(); }
    /// Columns and rows.
    QSize size() const { return m_size; }
    /// Nine for each pixel, row by row.
    const QVector<float> &values() const { return m_values; }
    /// One for each pixel, row by row.
    const QVector<PixelState> &states() const { return m_states; }

    /// The nine values of a pixel of the screen. The writable ones are valid until the measurement is copied or assigned.
    const float *pixel(int x, int y) const { return m_values.constData() + indexOf(x, y) * lightLength; }
    /// See above.
    float *pixel(int x, int y) { return m_values.data() + indexOf(x, y) * lightLength; }

    /// The state of a pixel of the screen.
    PixelState state(int x, int y) const { return m_states[indexOf(x, y)]; }
    /// Sets the state of the pixels of `rect` that are on the screen.
    void setState(const QRect &rect, PixelState state);
    /// The number of pixels in a state.
    int count(PixelState state) const;
    /// Whether the pixel is live and its nine values are finite.
    bool isUsable(int x, int y) const;

    /// Marks live pixels as dead of which a value is not finite, or an LED gives less than
    /// `share` of the median luminance of all live pixels' LEDs of that colour. Returns their number.
    int markDead(double share = 0.05);

    /// The light of one input. White is the sum of the three LEDs. NaN at pixels that are not usable.
    LightImage shown(Input input) const;

private:
    int indexOf(int x, int y) const { return y * m_size.width() + x; }

    QSize m_size;
    QVector<float> m_values;
    QVector<PixelState> m_states;
};

} // namespace Calibration
