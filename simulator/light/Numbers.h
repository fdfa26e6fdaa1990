#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// Random numbers that are a function of what they belong to, so that none is stored: SplitMix64 (Steele, Lea and Flood,
/// "Fast Splittable Pseudorandom Number Generators", 2014). The same on every machine: integers, and doubles of few bits.
namespace Simulator::Numbers {

constexpr quint64 increment = 0x9e3779b97f4a7c15;

constexpr quint64 mixed(quint64 z)
{
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
}

/// A hash of what `hash` was made of, and `value`.
constexpr quint64 chained(quint64 hash, quint64 value)
{
    return mixed((hash ^ value) + increment);
}

/// The bytes of the UTF-8 form, then 256.
inline quint64 chained(quint64 hash, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    for (const char byte : bytes)
        hash = chained(hash, static_cast<unsigned char>(byte));
    return chained(hash, 256);
}

/// From 0 to below 1, evenly distributed.
constexpr double share(quint64 hash)
{
    return static_cast<double>(mixed(hash + increment) >> 11) / 9007199254740992.0;
}

/// Normally distributed with a mean of 0 and a standard deviation of 1, nearly: the sum of twelve numbers (Irwin-Hall), from
/// -6 to 6.
constexpr double normal(quint64 hash)
{
    quint64 sum = 0;
    for (int i = 0; i < 3; ++i) {
        hash += increment;
        const quint64 four = mixed(hash);
        sum += (four & 0xffff) + (four >> 16 & 0xffff) + (four >> 32 & 0xffff) + (four >> 48);
    }
    return (static_cast<double>(sum) - 393210.0) / 65536.0;
}

} // namespace Simulator::Numbers
