#include <Correction/BrightnessRange.h>
#include <Correction/CabinetBaseInfo.h>
#include <Correction/CabinetInfo.h>
#include <Correction/CabinetsModuleFlag.h>
#include <Correction/DrawingCheckerboard.h>
#include <Correction/DrawingParameter.h>
#include <Correction/FlashCheckInfo.h>
#include <Correction/MultilayerParam.h>

#include "model/FeatureTable.h"
#include "model/Logging.h"

#include <QtCore/QMap>

namespace Correction {
namespace {

/// Empty but not null, like the strings of a reply.
QString emptyText()
{
    return QString(QLatin1String(""));
}

/// Deep copies of a record's cards or modules, owned by this object.
template <class Record>
class Copies
{
public:
    explicit Copies(const QList<Record *> &records)
    {
        m_copies.reserve(records.size());
        try {
            for (const Record *record : records)
                m_copies.append(record ? new Record(*record) : nullptr);
        } catch (...) {
            qDeleteAll(m_copies);
            throw;
        }
    }
    ~Copies() { qDeleteAll(m_copies); }
    Copies(const Copies &) = delete;
    Copies &operator=(const Copies &) = delete;

    /// Swaps the copies into the record; the old ones are deleted with this object.
    void exchange(QList<Record *> &records) noexcept { m_copies.swap(records); }

private:
    QList<Record *> m_copies;
};

} // namespace

RvCardInfo::RvCardInfo() : id(emptyText()), flag(emptyText()) {}
RvCardInfo::RvCardInfo(const RvCardInfo &other) = default;
RvCardInfo &RvCardInfo::operator=(const RvCardInfo &other) = default;

ModuleInfo::ModuleInfo() : id(emptyText()), flag(emptyText()) {}
ModuleInfo::ModuleInfo(const ModuleInfo &other) = default;
ModuleInfo &ModuleInfo::operator=(const ModuleInfo &other) = default;

CabinetInfo::CabinetInfo() : id(emptyText()), deviceKey(emptyText()), reserved(emptyText()) {}

CabinetInfo::CabinetInfo(const CabinetInfo &other) : CabinetInfo()
{
    *this = other;
}

CabinetInfo &CabinetInfo::operator=(const CabinetInfo &other)
{
    if (this == &other)
        return *this;
    // All allocations come first: when memory runs out, this record is unchanged.
    Copies<ModuleInfo> modules(other.moduleList);
    Copies<RvCardInfo> cards(other.rvCardList);
    id = other.id;
    deviceKey = other.deviceKey;
    reserved = other.reserved;
    rect = other.rect;
    modules.exchange(moduleList);
    cards.exchange(rvCardList);
    return *this;
}

CabinetInfo::~CabinetInfo()
{
    qDeleteAll(rvCardList);
    qDeleteAll(moduleList);
}

CabinetBaseInfo::CabinetBaseInfo()
    : multilayercorrection(false), multilayerCorrectionLayer(0), fineGrayscale(false), xBitPlus(false), magicGray(false)
{
}
CabinetBaseInfo::CabinetBaseInfo(const CabinetBaseInfo &other) = default;
CabinetBaseInfo &CabinetBaseInfo::operator=(const CabinetBaseInfo &other) = default;

bool CabinetBaseInfo::pasrseJson(QList<QVariant> &reply)
{
    if (reply.isEmpty()) {
        qCCritical(lcCorrection) << "call getScreenBaseInfo() fail. result.length()<=0 ";
        return false;
    }
    *this = featuresOf(reply.constFirst());
    return true;
}

CabinetBaseInfo featuresOf(const QVariant &element)
{
    CabinetBaseInfo info;
    const QVariantMap table = element.toMap().value(QStringLiteral("functionTable")).toMap();
    info.multilayercorrection = table.value(QStringLiteral("multilayercorrection")).toBool();
    info.multilayerCorrectionLayer = static_cast<quint8>(table.value(QStringLiteral("multilayerCorrectionLayer")).toUInt());
    info.fineGrayscale = table.value(QStringLiteral("fineGrayscale")).toBool();
    info.xBitPlus = table.value(QStringLiteral("xBitPlus")).toBool();
    info.magicGray = table.value(QStringLiteral("magicGray")).toBool();
    return info;
}

FlashCheckInfo::FlashCheckInfo() : resutlt(false) {}
FlashCheckInfo::FlashCheckInfo(const FlashCheckInfo &other) = default;
FlashCheckInfo &FlashCheckInfo::operator=(const FlashCheckInfo &other) = default;

RxCardFlashCheckInfo::RxCardFlashCheckInfo() : rxcardId(0), outPutId(0) {}
RxCardFlashCheckInfo::RxCardFlashCheckInfo(const RxCardFlashCheckInfo &other) = default;
RxCardFlashCheckInfo &RxCardFlashCheckInfo::operator=(const RxCardFlashCheckInfo &other) = default;

CabinetsModuleFlag::CabinetsModuleFlag() : id(emptyText()), flag(emptyText()) {}
CabinetsModuleFlag::CabinetsModuleFlag(const CabinetsModuleFlag &other) = default;
CabinetsModuleFlag &CabinetsModuleFlag::operator=(const CabinetsModuleFlag &other) = default;

BrightnessRange::BrightnessRange() : min(0), max(0), defaultValue(0) {}
BrightnessRange::BrightnessRange(const BrightnessRange &other) = default;
BrightnessRange &BrightnessRange::operator=(const BrightnessRange &other) = default;

MultilayerParam::MultilayerParam()
    : inLayer1(0), inLayer2(0), inLayer3(0), inLayer4(0), inVldBitLayer01(0), inVldBitLayer12(0), inVldBitLayer23(0),
      inVldBitLayer34(0)
{
}
MultilayerParam::MultilayerParam(const MultilayerParam &other) = default;
MultilayerParam::MultilayerParam(MultilayerParam &&other) noexcept = default;
MultilayerParam &MultilayerParam::operator=(const MultilayerParam &other) = default;

MultilayerParamInfo::MultilayerParamInfo() : inLayer(0), inVldBitLayer(0) {}
MultilayerParamInfo::MultilayerParamInfo(const MultilayerParamInfo &other) = default;
MultilayerParamInfo::MultilayerParamInfo(MultilayerParamInfo &&other) noexcept = default;
MultilayerParamInfo &MultilayerParamInfo::operator=(const MultilayerParamInfo &other) = default;

MultilayerParamV2::MultilayerParamV2() = default;
MultilayerParamV2::MultilayerParamV2(const MultilayerParamV2 &other) = default;
MultilayerParamV2::MultilayerParamV2(MultilayerParamV2 &&other) noexcept = default;
MultilayerParamV2 &MultilayerParamV2::operator=(const MultilayerParamV2 &other) = default;

DrawingParameter::DrawingParameter() : pixelBlockIntervalX(0), pixelBlockIntervalY(0) {}
DrawingParameter::DrawingParameter(const DrawingParameter &other) = default;
DrawingParameter &DrawingParameter::operator=(const DrawingParameter &other) = default;

DrawingCheckerboard::DrawingCheckerboard() : squareW(0), squareH(0), lastSquareColumnW(0), lastSquareRowH(0) {}
DrawingCheckerboard::DrawingCheckerboard(const DrawingCheckerboard &other) = default;
DrawingCheckerboard &DrawingCheckerboard::operator=(const DrawingCheckerboard &other) = default;

} // namespace Correction
