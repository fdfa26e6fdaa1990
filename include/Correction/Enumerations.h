#pragma once

#include <QtCore/QMetaType>

/// The library's result codes and choices. The numbers are part of the interface: callers compare them, and several travel
/// to the device service unchanged. Every enumeration has the underlying type int, so that any number a device sends can be
/// held. Their meta-types are registered when the library is loaded: `QMetaType::type("Correction::EnumErrorCode")`.
namespace Correction {

/// Result of an operation. Each operation says which of its failures it logs: several are reported by the code alone.
/// "Logged" means a line at critical level of the category "correction"; debug lines are traces.
enum EnumErrorCode : int {
    enSuccess = 0,          ///< The operation completed.
    enArgumentMismatch = 1, ///< An argument does not suit its target: kind of a grid, place in a cabinet, an empty list.
    enOutOfRange = 2,       ///< A rectangle not inside the screen, or a value count that does not match a grid's size.
    enInvalidParameter = 3, ///< A needed object or datum is missing, or a rectangle does not fit into a grid.
    enFileError = 4,        ///< A cabinet's configuration file could not be opened, read or written in full.
    enTimeout = 5,          ///< A device did not answer in time or refused; also a read that no device or cabinet answered.
    enNoDevice = 6,         ///< Discovery found no device at all.
    enNotSupported = 7,     ///< A kind that the operation or the device does not support.
    enCabinetNotFound = 8,  ///< A screen places a cabinet that its device does not list.
};

/// Kind of a coefficient grid: what its `getType()` returns.
enum EnumCoefficientType : int {
    enCommonCoefficient = 0,     ///< Chroma: `Coefficient`.
    enMultilayerCoefficient = 1, ///< Multilayer: `MultilayerCoefficient`.
    enLowgrayCoefficient = 2,    ///< Low-gray: `LowGrayCoefficient`.
};

/// Values of one pixel of a grid: 16 bits each in chroma and low-gray grids. A multilayer grid has this number of bytes for
/// a pixel unless its constructor gets another one.
constexpr int chromaPixelLength = 9;
constexpr int lowGrayPixelLength = 9;     ///< As `chromaPixelLength`.
constexpr int multilayerPixelLength = 16; ///< Bytes; as `chromaPixelLength`.

/// Coefficient store that a save or a solid fill addresses. The numbers coincide with `EnumCoefficientType`.
enum EnumSaveType : int {
    enSaveCommonCoefficient = 0,     ///< Chroma.
    enSaveMultilayerCoefficient = 1, ///< Multilayer.
    enSaveLowgrayCoefficient = 2,    ///< Low-gray.
};

/// Channel of a gamma table. The gamma tables of a cabinet (`ICabinet`), read or written, have blue under 1 and green under
/// 2: the names below hold for sub-screens and screens.
enum EnumGammaType : int {
    enRedGamma = 0,   ///< Red.
    enGreenGamma = 1, ///< Green; in the gamma tables of `ICabinet` blue.
    enBlueGamma = 2,  ///< Blue; in the gamma tables of `ICabinet` green.
};

/// Correction effect mode. The numbers are the device's; the library passes them through unchanged and unchecked:
/// `EnumEffectMode(3)`.
enum EnumEffectMode : int {};

/// X-bit mode. The numbers are the device's; the library passes them through unchanged and unchecked: `EnumXBitMode(1)`.
enum EnumXBitMode : int {};

} // namespace Correction

Q_DECLARE_METATYPE(Correction::EnumErrorCode)
Q_DECLARE_METATYPE(Correction::EnumCoefficientType)
Q_DECLARE_METATYPE(Correction::EnumSaveType)
Q_DECLARE_METATYPE(Correction::EnumGammaType)
Q_DECLARE_METATYPE(Correction::EnumEffectMode)
Q_DECLARE_METATYPE(Correction::EnumXBitMode)
