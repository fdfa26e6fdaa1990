#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Simulator {

/// Coefficient kinds. A chroma or low-gray pixel has 9 unsigned 16-bit values; a multilayer pixel has
/// Device::multilayerBytesPerPixel bytes.
enum class Kind {
    Chroma = 0,     ///< Correction::enCommonCoefficient
    Multilayer = 1, ///< Correction::enMultilayerCoefficient
    LowGray = 2     ///< Correction::enLowgrayCoefficient
};

/// A cabinet's stores of coefficients of one kind.
enum class Store {
    Working, ///< What the cabinet uses: uploads write it, loads read it.
    User,    ///< Written by the save operations, cleared by the clear operations.
    Factory, ///< Written by saveCabinetsFactoryCoefficient. Chroma only.
    Module,  ///< Written by saveCabinetsModuleCoefficient. Chroma only.
    Flash    ///< The modules' flash memory, written by CabinetInfoOperator::saveModuleCoefficient. Chroma only.
};

/// Colour channels of a gamma table.
enum class Channel {
    Red,   ///< Red.
    Green, ///< Green.
    Blue   ///< Blue.
};

/// The test image that was last set on a device.
struct Pattern {
    /// What kind of test image it is.
    enum Type {
        None,     ///< None was set yet: dark.
        Pixels,   ///< ScreenInfo::setPixelImage
        Checkers, ///< ScreenInfo::setCheckerBoardImage
        Clear     ///< ScreenInfo::setCorrectClearImage: dark
    };
    Type type = None;                ///< Set by the last request.
    QMap<QString, QVariant> request; ///< The request as it came; empty for None and Clear.
};

} // namespace Simulator
