#pragma once

#include <Correction/Global.h>

#include <QtCore/QVector>

namespace Correction {

/// One multilayer parameter set for all cabinets of a sub-screen: four layer values and the valid bits between layers. Their
/// meaning is the device's.
class CORRECTION_EXPORT MultilayerParam
{
public:
    MultilayerParam(); ///< All values 0.
    MultilayerParam(const MultilayerParam &other);
    MultilayerParam(MultilayerParam &&other) noexcept;
    MultilayerParam &operator=(const MultilayerParam &other);

    quint32 inLayer1;       ///< Value of the first layer.
    quint32 inLayer2;       ///< Value of the second layer.
    quint32 inLayer3;       ///< Value of the third layer.
    quint32 inLayer4;       ///< Value of the fourth layer.
    quint8 inVldBitLayer01; ///< Valid bits up to the first layer.
    quint8 inVldBitLayer12; ///< Valid bits from the first to the second layer.
    quint8 inVldBitLayer23; ///< Valid bits from the second to the third layer.
    quint8 inVldBitLayer34; ///< Valid bits from the third to the fourth layer.
};

/// One layer of a version-2 parameter set.
class CORRECTION_EXPORT MultilayerParamInfo
{
public:
    MultilayerParamInfo(); ///< All values 0.
    MultilayerParamInfo(const MultilayerParamInfo &other);
    MultilayerParamInfo(MultilayerParamInfo &&other) noexcept;
    MultilayerParamInfo &operator=(const MultilayerParamInfo &other);

    quint32 inLayer;      ///< Value of the layer.
    quint8 inVldBitLayer; ///< Its valid bits.
};

/// A version-2 multilayer parameter set: any number of layers, sent in this order. An empty one is refused with
/// `enArgumentMismatch`.
class CORRECTION_EXPORT MultilayerParamV2
{
public:
    MultilayerParamV2(); ///< No layers.
    MultilayerParamV2(const MultilayerParamV2 &other);
    MultilayerParamV2(MultilayerParamV2 &&other) noexcept;
    MultilayerParamV2 &operator=(const MultilayerParamV2 &other);

    QVector<MultilayerParamInfo> params; ///< In the order in which they are sent.
};

} // namespace Correction
