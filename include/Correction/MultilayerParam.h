#pragma once

#include <Correction/Global.h>

#include <QtCore/QVector>

namespace Correction {

/// One multilayer parameter set for all cabinets of a sub-screen: four layer values and the valid bits between layers. Their
/// meaning is the device's.
class CORRECTION_EXPORT MultilayerParam
{
public:
    MultilayerParam();
    MultilayerParam(const MultilayerParam &other);
    MultilayerParam(MultilayerParam &&other) noexcept;
    MultilayerParam &operator=(const MultilayerParam &other);

    quint32 inLayer1;
    quint32 inLayer2;
    quint32 inLayer3;
    quint32 inLayer4;
    quint8 inVldBitLayer01;
    quint8 inVldBitLayer12;
    quint8 inVldBitLayer23;
    quint8 inVldBitLayer34;
};

/// One layer of a version-2 parameter set.
class CORRECTION_EXPORT MultilayerParamInfo
{
public:
    MultilayerParamInfo();
    MultilayerParamInfo(const MultilayerParamInfo &other);
    MultilayerParamInfo(MultilayerParamInfo &&other) noexcept;
    MultilayerParamInfo &operator=(const MultilayerParamInfo &other);

    quint32 inLayer;
    quint8 inVldBitLayer;
};

/// A version-2 multilayer parameter set: any number of layers, sent in this order. An empty one is refused with
/// `enArgumentMismatch`.
class CORRECTION_EXPORT MultilayerParamV2
{
public:
    MultilayerParamV2();
    MultilayerParamV2(const MultilayerParamV2 &other);
    MultilayerParamV2(MultilayerParamV2 &&other) noexcept;
    MultilayerParamV2 &operator=(const MultilayerParamV2 &other);

    QVector<MultilayerParamInfo> params;
};

} // namespace Correction
