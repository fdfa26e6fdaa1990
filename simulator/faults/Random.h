#pragma once

#include <QtCore/QtGlobal>

#include <random>

namespace Simulator {

/// Random numbers from a seed: the same on every machine and with every compiler, which the distributions of the standard
/// library are not.
class Random
{
public:
    explicit Random(quint64 seed) : m_engine(seed) {}

    quint64 next() { return m_engine(); }
    /// A number from 0 to `count` - 1, each as likely as the others; 0 when there is none.
    quint64 below(quint64 count)
    {
        if (count < 2)
            return 0;
        const quint64 unfair = (~quint64(0) - count + 1)
                               % count; // numbers below 2^64 mod count are rejected: their results would be too frequent
        quint64 number = next();
        while (number < unfair)
            number = next();
        return number % count;
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace Simulator
