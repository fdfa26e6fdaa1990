#pragma once

#include <Correction/Global.h>

#include <QtCore/QList>
#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QSize>

namespace Correction {

/// Flash check of one module.
class CORRECTION_EXPORT FlashCheckInfo
{
public:
    FlashCheckInfo(); ///< Not valid, without place and size.
    FlashCheckInfo(const FlashCheckInfo &other);
    FlashCheckInfo &operator=(const FlashCheckInfo &other);

    bool resutlt; ///< True when the module's flash memory is valid: its check code is 0.
    QPoint point; ///< Pixels, in the receiving card's frame.
    QSize size;   ///< Pixels.
    QRect rect;   ///< Free for the host; the flash check leaves it null.
};

/// Flash check of one receiving card: one entry in `flashList` for each module, in the order of the reply.
class CORRECTION_EXPORT RxCardFlashCheckInfo
{
public:
    RxCardFlashCheckInfo(); ///< Numbers 0, no modules.
    RxCardFlashCheckInfo(const RxCardFlashCheckInfo &other);
    RxCardFlashCheckInfo &operator=(const RxCardFlashCheckInfo &other);

    int rxcardId;                    ///< Number of the receiving card.
    int outPutId;                    ///< Number of the device's output.
    QList<FlashCheckInfo> flashList; ///< Of the card's modules.
};

} // namespace Correction
