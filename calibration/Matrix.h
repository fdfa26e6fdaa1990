#pragma once

#include <array>
#include <cmath>

namespace Calibration {

using Vector = std::array<double, 3>;

inline Vector cross(const Vector &a, const Vector &b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double dot(const Vector &a, const Vector &b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Three colours as the columns of a matrix, and its inverse.
class Colours
{
public:
    /// From the XYZ of three colours, one after another.
    template <class Number>
    explicit Colours(const Number *light)
    {
        for (unsigned i = 0; i < 3; ++i)
            m_columns[i] = {double(light[3 * i]), double(light[3 * i + 1]), double(light[3 * i + 2])};
        m_inverse = {cross(m_columns[1], m_columns[2]), cross(m_columns[2], m_columns[0]),
                     cross(m_columns[0], m_columns[1])};
        const double determinant = dot(m_columns[0], m_inverse[0]);
        double scale = 1;
        for (const Vector &column : m_columns)
            scale *= std::abs(column[0]) + std::abs(column[1]) + std::abs(column[2]);
        m_independent = std::abs(determinant) > leastIndependence * scale && std::isfinite(scale);
        for (Vector &row : m_inverse) {
            for (double &value : row)
                value /= determinant;
        }
    }

    /// The least determinant, relative to the sizes of the colours. That of Rec. 709 is 0.22.
    static constexpr double leastIndependence = 1e-4;

    /// Whether the inverse can be used.
    bool areIndependent() const { return m_independent; }
    /// How much of each colour makes `xyz`.
    Vector amountsOf(const Vector &xyz) const
    {
        return {dot(m_inverse[0], xyz), dot(m_inverse[1], xyz), dot(m_inverse[2], xyz)};
    }

private:
    std::array<Vector, 3> m_columns;
    std::array<Vector, 3> m_inverse; ///< Rows.
    bool m_independent;
};

} // namespace Calibration
