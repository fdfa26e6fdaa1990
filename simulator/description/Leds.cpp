#include <simulator/Leds.h>

#include <tuple>

namespace Simulator {

namespace {

auto fields(const Primary &primary)
{
    return std::tie(primary.x, primary.y, primary.luminance);
}

auto fields(const Ageing &ageing)
{
    return std::tie(ageing.red, ageing.green, ageing.blue);
}

auto fields(const Leds &leds)
{
    return std::tie(leds.preset, leds.seed, leds.red, leds.green, leds.blue, leds.pixelLuminance, leds.pixelWavelength,
                    leds.moduleLuminance, leds.moduleWavelength, leds.moduleSeam, leds.cabinetSeam, leds.oldest,
                    leds.deadPixels, leds.stuckPixels, leds.lowGrayBelow);
}

} // namespace

bool operator==(const Primary &a, const Primary &b)
{
    return fields(a) == fields(b);
}

bool operator==(const Ageing &a, const Ageing &b)
{
    return fields(a) == fields(b);
}

bool operator==(const Leds &a, const Leds &b)
{
    return fields(a) == fields(b);
}

QStringList ledPresetNames()
{
    return {QStringLiteral("even"), QStringLiteral("fresh"), QStringLiteral("mixed"), QStringLiteral("worn")};
}

Leds ledPreset(const QString &name)
{
    Leds leds;
    if (!ledPresetNames().contains(name))
        return leds;
    leds.preset = name;
    if (name == QLatin1String("fresh")) {
        leds.pixelLuminance = 0.03;
        leds.pixelWavelength = 0.5;
        leds.moduleLuminance = 0.02;
        leds.moduleWavelength = 0.5;
        leds.moduleSeam = 0.98;
        leds.cabinetSeam = 0.96;
    } else if (name == QLatin1String("mixed")) {
        leds.pixelLuminance = 0.06;
        leds.pixelWavelength = 1.0;
        leds.moduleLuminance = 0.08;
        leds.moduleWavelength = 2.0;
        leds.moduleSeam = 0.94;
        leds.cabinetSeam = 0.88;
    } else if (name == QLatin1String("worn")) {
        leds.pixelLuminance = 0.08;
        leds.pixelWavelength = 1.0;
        leds.moduleLuminance = 0.08;
        leds.moduleWavelength = 1.5;
        leds.moduleSeam = 0.94;
        leds.cabinetSeam = 0.88;
        leds.oldest = {0.85, 0.8, 0.7};
        leds.deadPixels = 0.0005;
        leds.stuckPixels = 0.0001;
    }
    return leds;
}

} // namespace Simulator
