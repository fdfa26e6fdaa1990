#pragma once

#include <Correction/CabinetInfo.h>
#include <Correction/Enumerations.h>
#include <Correction/Global.h>
#include <Correction/ICoefficient.h>
#include <Correction/IScreen.h>

#include <QtCore/QRect>
#include <QtCore/QStringList>
#include <QtGui/QRegion>

#include <functional>

namespace Correction {

/// Reads any rectangle of a screen, unlike `IScreen::tryGetCoefficients`, and lists the screen's devices. Every operation
/// runs on the caller's thread. Every failure writes one critical line or more.
class CORRECTION_EXPORT ScreenReader
{
public:
    /// State of a read. Each cabinet that meets the rectangle is read as a whole, however little of it is wanted.
    struct Progress {
        int cabinetsRead;        ///< So far.
        int cabinets;            ///< That meet the rectangle.
        qint64 pixelsRead;       ///< So far.
        qint64 pixels;           ///< Of these cabinets.
        const CabinetInfo *next; ///< The cabinet that is read next; null after the last. Valid during the call only.
    };
    /// Called before each cabinet and after the last. An exception that it throws ends the read and reaches the caller.
    using OnProgress = std::function<void(const Progress &)>;

    /// `screen` must stay valid while the reader is used: not beyond a refresh.
    explicit ScreenReader(IScreen &screen);

    /// Replaces `keys` by the keys of the devices that drive the screen's cabinets, in ascending order. Sends nothing. A
    /// failure is that of `IScreen::tryGetAllCabinetInfoList`; `keys` is unchanged then.
    EnumErrorCode tryGetDeviceKeys(QStringList &keys);

    /// Reads the coefficients of `rect` (screen pixels) into `coefficient`, a chroma grid of the size of `rect`.
    ///
    /// `holes`, unless null, is set to the pixels of `rect` without a cabinet, before the first cabinet is read; they are
    /// left alone in `coefficient`. `rect` may reach beyond the screen. Cabinets read before a failure stay in
    /// `coefficient`.
    /// - `enOutOfRange`: `rect` is empty. Nothing is sent.
    /// - `enArgumentMismatch`: `coefficient` is of another size (nothing is sent), or a multilayer grid.
    /// - `enNotSupported`: a low-gray grid or an unknown kind.
    /// - `enInvalidParameter`: the registry does not hold a cabinet of the screen.
    /// - Otherwise the codes of `IScreen::tryGetAllCabinetInfoList`, `ICabinet::tryGetCoefficients` and the grid's paste.
    EnumErrorCode tryGetCoefficients(const QRect &rect, ICoefficient &coefficient, QRegion *holes = nullptr,
                                     const OnProgress &onProgress = OnProgress());

private:
    EnumErrorCode tryGetCabinets(QList<CabinetInfo> &cabinets);

    IScreen &m_screen;
};

} // namespace Correction
