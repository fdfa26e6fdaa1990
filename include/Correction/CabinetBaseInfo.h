#pragma once

#include <Correction/Global.h>

#include <QtCore/QList>
#include <QtCore/QVariant>

namespace Correction {

class RvCardInfo;

/// Feature switches of a cabinet's hardware, as its device reports them.
class CORRECTION_EXPORT CabinetBaseInfo
{
public:
    CabinetBaseInfo(); ///< No features.
    CabinetBaseInfo(const CabinetBaseInfo &other);
    /// Declared and not defined: a call does not link.
    CabinetBaseInfo(const RvCardInfo &card);
    CabinetBaseInfo &operator=(const CabinetBaseInfo &other);

    /// Fills the five switches from the first map of a base-information reply (its map "functionTable"); a missing key gives
    /// false or 0, further maps are not looked at. Returns false, with one critical line and no change, for an empty list.
    bool pasrseJson(QList<QVariant> &reply);

    bool multilayercorrection;        ///< Multilayer coefficients.
    quint8 multilayerCorrectionLayer; ///< Number of layers, kept modulo 256.
    bool fineGrayscale;               ///< "fineGrayscale" of the reply.
    bool xBitPlus;                    ///< "xBitPlus" of the reply.
    bool magicGray;                   ///< "magicGray" of the reply.
};

} // namespace Correction
