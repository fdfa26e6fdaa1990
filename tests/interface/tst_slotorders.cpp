// The binary shape of the boundary: which virtual operation is in which slot, with which signature, and how large the
// objects are. A host that was built earlier calls by slot number and reads records by offset, so none of this may
// drift.

#include "support/LogCapture.h"
#include "support/VtableSlot.h"

#include <Correction/Correction.h>
#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtCore/QMetaMethod>
#include <QtTest/QtTest>

#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <type_traits>

using namespace Correction;
using TestSupport::slotOf;

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using GammaTable = QMap<EnumGammaType, QList<int>>;
using Values = QVector<unsigned short>;

// The operations of each interface in slot order: OP(class, result, name, parameters). The same list serves the
// interface and its implementation. The casts in ROW compile for exactly this signature only.

#define COEFFICIENT_OPERATIONS(OP, C)                                                                                       \
    OP(C, int, getPixelRow, ())                                                                                             \
    OP(C, void, setPixelRow, (int))                                                                                         \
    OP(C, int, getPixelCol, ())                                                                                             \
    OP(C, void, setPixelCol, (int))                                                                                         \
    OP(C, int, getPixelLength, ())                                                                                          \
    OP(C, ICoefficient *, getCopy, ())                                                                                      \
    OP(C, EnumCoefficientType, getType, ())                                                                                 \
    OP(C, EnumErrorCode, setPartCoefficient, (const QRect &, ICoefficient &))                                               \
    OP(C, ICoefficient *, tryGetPart, (const QRect &))                                                                      \
    OP(C, QString, toBase64, ())

#define CHROMA_OPERATIONS(OP, C)                                                                                            \
    COEFFICIENT_OPERATIONS(OP, C)                                                                                           \
    OP(C, EnumErrorCode, tryGetAvg, (Values &))                                                                             \
    OP(C, EnumErrorCode, toByteArray, (QByteArray &))                                                                       \
    OP(C, Values, getCoefficient, ())                                                                                       \
    OP(C, EnumErrorCode, setCoefficient, (Values &))                                                                        \
    OP(C, EnumErrorCode, setPartCoefficient, (const QRect &, Values &))                                                     \
    OP(C, QString, toJsonData, ())

#define LOW_GRAY_OPERATIONS(OP, C)                                                                                          \
    COEFFICIENT_OPERATIONS(OP, C)                                                                                           \
    OP(C, Values, getCoefficient, ())                                                                                       \
    OP(C, EnumErrorCode, setCoefficient, (Values &))                                                                        \
    OP(C, EnumErrorCode, setPartCoefficient, (const QRect &, Values &))

#define MULTILAYER_OPERATIONS(OP, C)                                                                                        \
    COEFFICIENT_OPERATIONS(OP, C)                                                                                           \
    OP(C, QByteArray, getCoefficient, ())                                                                                   \
    OP(C, EnumErrorCode, setCoefficient, (QByteArray &))                                                                    \
    OP(C, EnumErrorCode, setPartCoefficient, (const QRect &, QByteArray &))

#define CABINET_COEFFICIENT_OPERATIONS(OP, C)                                                                               \
    OP(C, QString, getDeciceKey, ())                                                                                        \
    OP(C, bool, add, (QRect, ICoefficient *))                                                                               \
    OP(C, ICoefficient *, tryGetCoefficient, (QRect))                                                                       \
    OP(C, QString, toJsonData, ())

#define CABINET_OPERATIONS(OP, C)                                                                                           \
    OP(C, EnumErrorCode, GetCabinetInfo, (CabinetInfo &))                                                                   \
    OP(C, EnumErrorCode, tryGetCoefficients, (ICoefficient &))                                                              \
    OP(C, EnumErrorCode, setCoefficients, (const QPoint &, ICoefficient &))                                                 \
    OP(C, EnumErrorCode, saveParameter, (EnumSaveType))                                                                     \
    OP(C, EnumErrorCode, applyCoeffcient, (EnumCoefficientType))                                                            \
    OP(C, EnumErrorCode, setEffectMode, (EnumEffectMode))                                                                   \
    OP(C, EnumErrorCode, setBrightness, (int))                                                                              \
    OP(C, EnumErrorCode, getGammaTable, (GammaTable &))                                                                     \
    OP(C, EnumErrorCode, setGammaTable, (const GammaTable &))                                                               \
    OP(C, EnumErrorCode, getBrightnessRange, (BrightnessRange &))                                                           \
    OP(C, EnumErrorCode, getConfigFile, (const QString &))                                                                  \
    OP(C, EnumErrorCode, setConfigFile, (const QString &))                                                                  \
    OP(C, EnumErrorCode, setFlag, (const QString &))                                                                        \
    OP(C, EnumErrorCode, getFlag, (QString &))                                                                              \
    OP(C, EnumErrorCode, tryGetEffectMode, (EnumEffectMode &))                                                              \
    OP(C, EnumErrorCode, getFlashCheckInfo, (QList<RxCardFlashCheckInfo> &))                                                \
    OP(C, QString, getID, ())                                                                                               \
    OP(C, QString, getDeviceKey, ())                                                                                        \
    OP(C, EnumErrorCode, setCabinetflags, (const QString &))                                                                \
    OP(C, EnumErrorCode, setModuleflags, (QList<CabinetsModuleFlag> &))                                                     \
    OP(C, EnumErrorCode, clearModuleCoefficient, (int))                                                                     \
    OP(C, EnumErrorCode, saveModuleCoefficient, (int))                                                                      \
    OP(C, EnumErrorCode, reloadModuleCoefficient, (int))                                                                    \
    OP(C, QList<ModuleInfo *>, getCabAllFlags, ())                                                                          \
    OP(C, EnumErrorCode, IsSupportFlash, ())                                                                                \
    OP(C, EnumErrorCode, getCabinetSupport, (CabinetBaseInfo &))

#define CABINETS_OPERATIONS(OP, C)                                                                                          \
    OP(C, EnumErrorCode, clearUserCoefficient, ())                                                                          \
    OP(C, EnumErrorCode, saveUserCoefficient, ())                                                                           \
    OP(C, EnumErrorCode, saveFactoryCoefficient, ())                                                                        \
    OP(C, EnumErrorCode, showUserCoefficient, ())                                                                           \
    OP(C, EnumErrorCode, showFactoryCoefficient, ())                                                                        \
    OP(C, EnumErrorCode, setAvgCoefficient, (const QList<ICabinetCoefficient> &))                                           \
    OP(C, EnumErrorCode, getAvgCoeffcient, (QList<ICabinetCoefficient> &))                                                  \
    OP(C, EnumErrorCode, showModuleCoefficient, ())                                                                         \
    OP(C, EnumErrorCode, saveModuleCoefficient, ())                                                                         \
    OP(C, EnumErrorCode, setMutiCabinetSolid, ())

#define SUB_SCREEN_OPERATIONS(OP, C)                                                                                        \
    OP(C, EnumErrorCode, setABLEnable, (bool))                                                                              \
    OP(C, EnumErrorCode, setXBit, (EnumXBitMode, bool))                                                                     \
    OP(C, EnumErrorCode, lock, ())                                                                                          \
    OP(C, EnumErrorCode, unLock, ())                                                                                        \
    OP(C, EnumErrorCode, tryGetRect, (QRect &))                                                                             \
    OP(C, EnumErrorCode, tryGetAllCabinetInfoList, (QList<CabinetInfo> &))                                                  \
    OP(C, EnumErrorCode, setPixelImage, (DrawingParameter))                                                                 \
    OP(C, EnumErrorCode, setCheckerboardlImage, (DrawingCheckerboard))                                                      \
    OP(C, EnumErrorCode, setPixelImageMode, (unsigned char))                                                                \
    OP(C, EnumErrorCode, tryGetCoefficients, (const QRect &, ICoefficient &))                                               \
    OP(C, EnumErrorCode, setCoefficients, (const QRect &, ICoefficient &))                                                  \
    OP(C, QtPromise::QPromise<EnumErrorCode>, setCoefficientsAsync, (const QRect &, ICoefficient &))                        \
    OP(C, EnumErrorCode, saveParameter, (EnumSaveType))                                                                     \
    OP(C, EnumErrorCode, applyCoeffcient, (EnumCoefficientType))                                                            \
    OP(C, EnumErrorCode, clearCoefficient, (EnumCoefficientType))                                                           \
    OP(C, EnumErrorCode, setEffectMode, (EnumEffectMode))                                                                   \
    OP(C, EnumErrorCode, setBrightness, (int))                                                                              \
    OP(C, EnumErrorCode, getGammaTable, (GammaTable &))                                                                     \
    OP(C, EnumErrorCode, setGammaTable, (const GammaTable &))                                                               \
    OP(C, EnumErrorCode, setMultilayerParameter, (const MultilayerParam &))                                                 \
    OP(C, EnumErrorCode, setMultilayerParameterV2, (const MultilayerParamV2 &))                                             \
    OP(C, EnumErrorCode, getBrightnessRange, (BrightnessRange &))                                                           \
    OP(C, EnumErrorCode, tryGetEffectMode, (EnumEffectMode &))                                                              \
    OP(C, bool, addCabinet, (QString, QString))                                                                             \
    OP(C, bool, removeCabinet, (const QString &))                                                                           \
    OP(C, void, removeCabinets, ())                                                                                         \
    OP(C, EnumErrorCode, setMutiCabinetSolid, (EnumSaveType))                                                               \
    OP(C, EnumErrorCode, isCheckerboardlImage, ())                                                                          \
    OP(C, EnumErrorCode, getScreenSupport, (QVector<CabinetBaseInfo> &))

#define SCREEN_OPERATIONS(OP, C)                                                                                            \
    OP(C, EnumErrorCode, setABLEnable, (bool))                                                                              \
    OP(C, EnumErrorCode, setXBit, (EnumXBitMode, bool))                                                                     \
    OP(C, EnumErrorCode, lock, ())                                                                                          \
    OP(C, EnumErrorCode, unLock, ())                                                                                        \
    OP(C, EnumErrorCode, tryGetRect, (QRect &))                                                                             \
    OP(C, EnumErrorCode, tryGetAllCabinetInfoList, (QList<CabinetInfo> &))                                                  \
    OP(C, EnumErrorCode, setPixelImage, (DrawingParameter))                                                                 \
    OP(C, EnumErrorCode, setCheckerboardlImage, (DrawingCheckerboard))                                                      \
    OP(C, EnumErrorCode, setPixelImageMode, (unsigned char))                                                                \
    OP(C, EnumErrorCode, tryGetCoefficients, (const QRect &, ICoefficient &))                                               \
    OP(C, EnumErrorCode, setCoefficients, (const QRect &, ICoefficient &))                                                  \
    OP(C, EnumErrorCode, saveParameter, (EnumSaveType))                                                                     \
    OP(C, EnumErrorCode, applyCoeffcient, (EnumCoefficientType))                                                            \
    OP(C, EnumErrorCode, clearCoefficient, (EnumCoefficientType))                                                           \
    OP(C, EnumErrorCode, setEffectMode, (EnumEffectMode))                                                                   \
    OP(C, EnumErrorCode, tryGetEffectMode, (EnumEffectMode &))                                                              \
    OP(C, EnumErrorCode, setBrightness, (int))                                                                              \
    OP(C, EnumErrorCode, getGammaTable, (GammaTable &))                                                                     \
    OP(C, EnumErrorCode, setGammaTable, (const GammaTable &))                                                               \
    OP(C, EnumErrorCode, setMultilayerParameter, (const MultilayerParam &))                                                 \
    OP(C, EnumErrorCode, setMultilayerParameterV2, (const MultilayerParamV2 &))                                             \
    OP(C, EnumErrorCode, getBrightnessRange, (BrightnessRange &))                                                           \
    OP(C, ISubScreen *, tryGetSubScreen, (const QString &))                                                                 \
    OP(C, bool, addSubScreen, (const QString &, ISubScreen *))                                                              \
    OP(C, bool, removeSubScreen, (const QString &))                                                                         \
    OP(C, void, removeSubScreens, ())                                                                                       \
    OP(C, void, setName, (const QString &))                                                                                 \
    OP(C, QString, getName, ())                                                                                             \
    OP(C, void, setID, (const QString &))                                                                                   \
    OP(C, QString, getID, ())                                                                                               \
    OP(C, EnumErrorCode, getSubScreenNames, (QMap<QString, QString>))                                                       \
    OP(C, EnumErrorCode, setMutiCabinetSolid, (EnumSaveType))                                                               \
    OP(C, EnumErrorCode, getFeatures, (QMap<QString, bool> &))                                                              \
    OP(C, EnumErrorCode, getScreenSupport, (QVector<CabinetBaseInfo> &))

struct Operation {
    const char *name;
    int slot;
};

#define ROW(C, Result, name, Parameters) Operation{#name, slotOf(static_cast<Result(C::*) Parameters>(&C::name))},

/// One more virtual operation, which gets the first slot that `Base` leaves free.
template <typename Base>
struct Extended : Base {
    virtual void next() = 0;
};

template <typename Class>
int slotCount()
{
    return slotOf(&Extended<Class>::next);
}

/// A virtual destructor has two slots: it destroys, or destroys and frees.
const int destructors = 2;

struct ClassSlots {
    const char *name;
    int firstSlot;
    int slotCount;
    QVector<Operation> operations;
};

template <typename Class>
ClassSlots shapeOf(const char *name, int firstSlot, const QVector<Operation> &operations)
{
    return {name, firstSlot, slotCount<Class>(), operations};
}

QVector<ClassSlots> allClasses()
{
#define CLASS(C, firstSlot, OPERATIONS) shapeOf<C>(#C, firstSlot, {OPERATIONS(ROW, C)})
    return {
        CLASS(ICoefficient, 0, COEFFICIENT_OPERATIONS),
        CLASS(IChromaCoefficient, 0, CHROMA_OPERATIONS),
        CLASS(Coefficient, 0, CHROMA_OPERATIONS),
        CLASS(ILowGrayCoefficient, 0, LOW_GRAY_OPERATIONS),
        CLASS(LowGrayCoefficient, 0, LOW_GRAY_OPERATIONS),
        CLASS(IMultilayerCoefficient, 0, MULTILAYER_OPERATIONS),
        CLASS(MultilayerCoefficient, 0, MULTILAYER_OPERATIONS),
        CLASS(ICabinetCoefficient, 0, CABINET_COEFFICIENT_OPERATIONS),
        CLASS(CabinetAvgCoefficient, 0, CABINET_COEFFICIENT_OPERATIONS),
        CLASS(ICabinet, 0, CABINET_OPERATIONS),
        CLASS(CabinetV4, 0, CABINET_OPERATIONS),
        CLASS(ICabinets, 0, CABINETS_OPERATIONS),
        CLASS(CabinetsV4, 0, CABINETS_OPERATIONS),
        CLASS(ISubScreen, destructors, SUB_SCREEN_OPERATIONS),
        CLASS(SubScreenV4, destructors, SUB_SCREEN_OPERATIONS),
        CLASS(IScreen, destructors, SCREEN_OPERATIONS),
        CLASS(ScreenV4, destructors, SCREEN_OPERATIONS),
    };
#undef CLASS
}

// Kinds of classes

static_assert(sizeof(void *) == 8, "the sizes and offsets below are those of 64-bit builds");

/// An interface: abstract, without data.
template <typename Class>
constexpr bool isInterface = std::is_abstract<Class>::value && sizeof(Class) == sizeof(void *);
/// An implementation adds these pointers' worth of members to the interface's one.
template <typename Class, typename Interface, std::size_t Size>
constexpr bool isImplementation =
    std::is_base_of<Interface, Class>::value && !std::is_abstract<Class>::value && sizeof(Class) == Size;

static_assert(isInterface<ICoefficient>);
static_assert(isInterface<IChromaCoefficient>);
static_assert(isInterface<ILowGrayCoefficient>);
static_assert(isInterface<IMultilayerCoefficient>);
static_assert(isInterface<ICabinetCoefficient>);
static_assert(isInterface<ICabinet>);
static_assert(isInterface<ICabinets>);
static_assert(isInterface<ISubScreen>);
static_assert(isInterface<IScreen>);

static_assert(std::is_base_of<ICoefficient, IChromaCoefficient>::value);
static_assert(std::is_base_of<ICoefficient, ILowGrayCoefficient>::value);
static_assert(std::is_base_of<ICoefficient, IMultilayerCoefficient>::value);
static_assert(isImplementation<Coefficient, IChromaCoefficient, 40>);
static_assert(isImplementation<LowGrayCoefficient, ILowGrayCoefficient, 40>);
static_assert(isImplementation<MultilayerCoefficient, IMultilayerCoefficient, 40>);
static_assert(isImplementation<CabinetAvgCoefficient, ICabinetCoefficient, 32>);
static_assert(isImplementation<CabinetV4, ICabinet, 16>);
static_assert(isImplementation<CabinetsV4, ICabinets, 16>);
static_assert(isImplementation<SubScreenV4, ISubScreen, 24>);
static_assert(isImplementation<ScreenV4, IScreen, 32>);
static_assert(std::is_base_of<QObject, ScreenManager>::value);
static_assert(sizeof(ScreenManager) == sizeof(QObject) + sizeof(void *));
static_assert(!std::is_polymorphic<CabinetManager>::value);
static_assert(sizeof(CabinetManager) == sizeof(void *));
static_assert(std::is_empty<CoefficientFactory>::value);
static_assert(std::is_empty<RequestParser>::value);
static_assert(std::is_empty<ArrayOpTool>::value);

// A cabinet that the registry removes is released as storage alone, and grids and groups are released by their own
// class: a virtual destructor would change that, and would move every slot behind it.
static_assert(!std::has_virtual_destructor<ICoefficient>::value);
static_assert(!std::has_virtual_destructor<IChromaCoefficient>::value);
static_assert(!std::has_virtual_destructor<ILowGrayCoefficient>::value);
static_assert(!std::has_virtual_destructor<IMultilayerCoefficient>::value);
static_assert(!std::has_virtual_destructor<Coefficient>::value);
static_assert(!std::has_virtual_destructor<LowGrayCoefficient>::value);
static_assert(!std::has_virtual_destructor<MultilayerCoefficient>::value);
static_assert(!std::has_virtual_destructor<ICabinetCoefficient>::value);
static_assert(!std::has_virtual_destructor<CabinetAvgCoefficient>::value);
static_assert(!std::has_virtual_destructor<ICabinet>::value);
static_assert(!std::has_virtual_destructor<CabinetV4>::value);
static_assert(!std::has_virtual_destructor<ICabinets>::value);
static_assert(!std::has_virtual_destructor<CabinetsV4>::value);
static_assert(std::has_virtual_destructor<ISubScreen>::value);
static_assert(std::has_virtual_destructor<SubScreenV4>::value);
static_assert(std::has_virtual_destructor<IScreen>::value);
static_assert(std::has_virtual_destructor<ScreenV4>::value);
static_assert(std::has_virtual_destructor<ScreenManager>::value);

// Construction and copies

template <typename Class>
constexpr bool isCopied = std::is_copy_constructible<Class>::value &&std::is_copy_assignable<Class>::value
    &&std::is_move_constructible<Class>::value &&std::is_move_assignable<Class>::value;

/// The interface's special members, checked on a minimal class that derives from it: abstract classes cannot be
/// constructed by themselves.
static_assert(std::is_copy_assignable<ICoefficient>::value && std::is_move_assignable<ICoefficient>::value);
static_assert(std::is_copy_assignable<IChromaCoefficient>::value && std::is_move_assignable<IChromaCoefficient>::value);
static_assert(std::is_copy_assignable<ILowGrayCoefficient>::value && std::is_move_assignable<ILowGrayCoefficient>::value);
static_assert(std::is_copy_assignable<IMultilayerCoefficient>::value
              && std::is_move_assignable<IMultilayerCoefficient>::value);

static_assert(isCopied<Coefficient> && isCopied<LowGrayCoefficient> && isCopied<MultilayerCoefficient>);
static_assert(std::is_default_constructible<Coefficient>::value && std::is_convertible<int, Coefficient>::value
              && std::is_constructible<Coefficient, int, int>::value
              && !std::is_constructible<Coefficient, int, int, int>::value);
static_assert(std::is_default_constructible<LowGrayCoefficient>::value && std::is_convertible<int, LowGrayCoefficient>::value
              && std::is_constructible<LowGrayCoefficient, int, int>::value
              && !std::is_constructible<LowGrayCoefficient, int, int, int>::value);
static_assert(std::is_default_constructible<MultilayerCoefficient>::value
              && std::is_convertible<int, MultilayerCoefficient>::value
              && std::is_constructible<MultilayerCoefficient, int, int>::value
              && std::is_constructible<MultilayerCoefficient, int, int, int>::value);
static_assert(std::is_constructible<CabinetAvgCoefficient, const QString &, const QString &>::value);
static_assert(std::is_constructible<CabinetV4, CabinetInfo *>::value);
static_assert(std::is_constructible<CabinetsV4, QList<ICabinet *> &>::value);
static_assert(std::is_constructible<SubScreenV4, const QString &>::value);
static_assert(std::is_default_constructible<ScreenV4>::value);
static_assert(std::is_default_constructible<CabinetManager>::value
              && isCopied<CabinetManager> && std::is_destructible<CabinetManager>::value);
static_assert(std::is_copy_assignable<ArrayOpTool>::value && std::is_move_assignable<ArrayOpTool>::value);

static_assert(std::is_same<CoefficientPtr::pointer, ICoefficient *>::value && sizeof(CoefficientPtr) == sizeof(void *));
static_assert(std::is_same<CabinetPtr::pointer, ICabinet *>::value && sizeof(CabinetPtr) == sizeof(void *));
static_assert(std::is_same<CabinetsPtr::pointer, ICabinets *>::value && sizeof(CabinetsPtr) == sizeof(void *));

// Records

/// A plain record: default construction and copies, nothing virtual, fields at fixed places.
template <typename Record, std::size_t Size>
constexpr bool isRecord = std::is_standard_layout<Record>::value && !std::is_polymorphic<Record>::value
                          && std::is_default_constructible<Record>::value && isCopied<Record> && sizeof(Record) == Size;

#define FIELD(Record, Type, name, offset)                                                                                   \
    static_assert(std::is_same<decltype(Record::name), Type>::value && offsetof(Record, name) == (offset),                  \
                  #Record "::" #name " has another type or place")

static_assert(isRecord<CabinetInfo, 64>);
FIELD(CabinetInfo, QString, id, 0);
FIELD(CabinetInfo, QString, flag, 8);
FIELD(CabinetInfo, QString, deviceKey, 16);
FIELD(CabinetInfo, QString, reserved, 24);
FIELD(CabinetInfo, QRect, rect, 32);
FIELD(CabinetInfo, QList<RvCardInfo *>, rvCardList, 48);
FIELD(CabinetInfo, QList<ModuleInfo *>, moduleList, 56);

static_assert(isRecord<RvCardInfo, 32>);
FIELD(RvCardInfo, QString, id, 0);
FIELD(RvCardInfo, QString, flag, 8);
FIELD(RvCardInfo, QRect, rect, 16);

static_assert(isRecord<ModuleInfo, 32>);
FIELD(ModuleInfo, QString, id, 0);
FIELD(ModuleInfo, QString, flag, 8);
FIELD(ModuleInfo, QRect, rect, 16);

static_assert(isRecord<CabinetBaseInfo, 5>);
static_assert(std::is_constructible<CabinetBaseInfo, const RvCardInfo &>::value);
static_assert(std::is_same<decltype(&CabinetBaseInfo::pasrseJson), bool (CabinetBaseInfo::*)(List &)>::value);
FIELD(CabinetBaseInfo, bool, multilayercorrection, 0);
FIELD(CabinetBaseInfo, unsigned char, multilayerCorrectionLayer, 1);
FIELD(CabinetBaseInfo, bool, fineGrayscale, 2);
FIELD(CabinetBaseInfo, bool, xBitPlus, 3);
FIELD(CabinetBaseInfo, bool, magicGray, 4);

static_assert(isRecord<FlashCheckInfo, 36>);
FIELD(FlashCheckInfo, bool, resutlt, 0);
FIELD(FlashCheckInfo, QPoint, point, 4);
FIELD(FlashCheckInfo, QSize, size, 12);
FIELD(FlashCheckInfo, QRect, rect, 20);

static_assert(isRecord<RxCardFlashCheckInfo, 16>);
FIELD(RxCardFlashCheckInfo, int, rxcardId, 0);
FIELD(RxCardFlashCheckInfo, int, outPutId, 4);
FIELD(RxCardFlashCheckInfo, QList<FlashCheckInfo>, flashList, 8);

static_assert(isRecord<CabinetsModuleFlag, 16>);
FIELD(CabinetsModuleFlag, QString, id, 0);
FIELD(CabinetsModuleFlag, QString, flag, 8);

static_assert(isRecord<BrightnessRange, 12>);
FIELD(BrightnessRange, unsigned int, min, 0);
FIELD(BrightnessRange, unsigned int, max, 4);
FIELD(BrightnessRange, unsigned int, defaultValue, 8);

static_assert(isRecord<MultilayerParam, 20> && std::is_nothrow_move_constructible<MultilayerParam>::value);
FIELD(MultilayerParam, unsigned int, inLayer1, 0);
FIELD(MultilayerParam, unsigned int, inLayer2, 4);
FIELD(MultilayerParam, unsigned int, inLayer3, 8);
FIELD(MultilayerParam, unsigned int, inLayer4, 12);
FIELD(MultilayerParam, unsigned char, inVldBitLayer01, 16);
FIELD(MultilayerParam, unsigned char, inVldBitLayer12, 17);
FIELD(MultilayerParam, unsigned char, inVldBitLayer23, 18);
FIELD(MultilayerParam, unsigned char, inVldBitLayer34, 19);

static_assert(isRecord<MultilayerParamInfo, 8> && std::is_nothrow_move_constructible<MultilayerParamInfo>::value);
FIELD(MultilayerParamInfo, unsigned int, inLayer, 0);
FIELD(MultilayerParamInfo, unsigned char, inVldBitLayer, 4);

static_assert(isRecord<MultilayerParamV2, 8> && std::is_nothrow_move_constructible<MultilayerParamV2>::value);
FIELD(MultilayerParamV2, QVector<MultilayerParamInfo>, params, 0);

static_assert(isRecord<DrawingParameter, 56>);
FIELD(DrawingParameter, QRect, screenPartRect, 0);
FIELD(DrawingParameter, QRect, pixelBlockInRect, 16);
FIELD(DrawingParameter, QColor, color, 32);
FIELD(DrawingParameter, int, pixelBlockIntervalX, 48);
FIELD(DrawingParameter, int, pixelBlockIntervalY, 52);

static_assert(isRecord<DrawingCheckerboard, 40>);
FIELD(DrawingCheckerboard, QRect, regionRect, 0);
FIELD(DrawingCheckerboard, QVector<QColor>, colors, 16);
FIELD(DrawingCheckerboard, int, squareW, 24);
FIELD(DrawingCheckerboard, int, squareH, 28);
FIELD(DrawingCheckerboard, int, lastSquareColumnW, 32);
FIELD(DrawingCheckerboard, int, lastSquareRowH, 36);

// Operations without a slot

#define OPERATION(Class, Result, name, Parameters)                                                                          \
    static_assert(std::is_same<decltype(&Class::name), Result(Class::*) Parameters>::value,                                 \
                  #Class "::" #name " has another signature")
#define STATIC_OPERATION(Class, Result, name, Parameters)                                                                   \
    static_assert(std::is_same<decltype(&Class::name), Result(*) Parameters>::value,                                        \
                  #Class "::" #name " has another signature")

STATIC_OPERATION(CoefficientFactory, ICoefficient *, getCoefficient, (EnumCoefficientType, int, int));
STATIC_OPERATION(RequestParser, EnumErrorCode, toCabinetChromaCoefficient, (QRect, List &, ICoefficient &));
STATIC_OPERATION(RequestParser, EnumErrorCode, toCabinetMultilayerCoefficient, (QRect, List &, ICoefficient &));

OPERATION(DrawingCheckerboard, void, CalcRegionWH, (int, int, int &, int &, int &, int &, QRect &, List &));
OPERATION(DrawingCheckerboard, void, CalcRegionColorToWH, (int, int, List &, QRect &));

STATIC_OPERATION(CabinetManager, CabinetManager *, getInstance, ());
OPERATION(CabinetManager, bool, addCabinet, (const QString &, ICabinet *));
OPERATION(CabinetManager, bool, removeCabinet, (const QString &));
OPERATION(CabinetManager, void, removeCabinets, ());
OPERATION(CabinetManager, ICabinet *, tryGetCabinet, (const QString &));
OPERATION(CabinetManager, ICabinets *, tryGetCabinets, (const QList<QString> &));
OPERATION(CabinetManager, bool, getMapping, (QMap<QString, QString> &));

STATIC_OPERATION(ScreenManager, ScreenManager *, getInstance, ());
STATIC_OPERATION(ScreenManager, void, releaseInstance, ());
OPERATION(ScreenManager, void, init, ());
OPERATION(ScreenManager, EnumErrorCode, refreshScreen, ());
using Names = QMap<QString, QString>;
OPERATION(ScreenManager, Names, getNameMapping, ());
OPERATION(ScreenManager, IScreen *, tryGetScreen, (const QString &));
OPERATION(ScreenManager, void, signal_screenChanged, ());
OPERATION(ScreenManager, void, signal_screenNameChanged, (QString, QString));

// The device service. A real one is built elsewhere: the library finds its operations by these signatures, and a
// virtual one could not be called without knowing its slots.

static_assert(std::is_empty<Correctionop>::value);
static_assert(std::is_empty<CabinetInfoOperator>::value);
static_assert(std::is_empty<HWInfo>::value);
static_assert(std::is_base_of<QObject, ScreenInfo>::value && sizeof(ScreenInfo) == sizeof(QObject));

STATIC_OPERATION(Correctionop, Correctionop *, getInstance, ());
OPERATION(Correctionop, bool, loadCoefficient, (const QString &, const QString &, List &));
OPERATION(Correctionop, bool, loadMultilayerCoefficient, (const QString &, const QString &, List &));
OPERATION(Correctionop, bool, uploadCoefficient, (const QString &, const QString &, const List &, Map &));
OPERATION(Correctionop, bool, uploadMultilayerCoefficient, (const QString &, const QString &, const List &, Map &));
OPERATION(Correctionop, bool, uploadLowgrayCoefficient, (const QString &, const QString &, const List &, Map &));
OPERATION(Correctionop, QtPromise::QPromise<bool>, uploadCoefficientAsync, (const QString &, const List &));
OPERATION(Correctionop, QtPromise::QPromise<bool>, uploadMultilayerCoefficientAsync, (const QString &, const List &));
OPERATION(Correctionop, QtPromise::QPromise<bool>, uploadLowGrayCoefficientAsync, (const QString &, const List &));
OPERATION(Correctionop, bool, saveCabinetsCoeffcient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, saveCabinetsMultilayerCoeffcient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, saveCabinetsLowgrayCoeffcient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, applyCabinetsLowgrayCoeffcient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, clearCabinetsUserCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, clearCabinetsMultilayerCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, clearCabinetsLowgrayCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, saveCabinetsFactoryCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, showCabinetsCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, showCabinetsFactoryCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, showCabinetsModuleCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, saveCabinetsModuleCoefficient, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setCabinetsMultilayerParameter, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setCabinetsMultilayerParameterV2, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setMutiCabinetSolid, (const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setScreenABLEnable, (const QString &, const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setScreenXBit, (const QString &, const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setScreenEffectMode, (const QString &, const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, setCabinetEffectMode, (const QString &, const QString &, const Map &, Map &));
OPERATION(Correctionop, bool, getCabinetEffectMode, (const QString &, const QString &, Map &));
OPERATION(Correctionop, bool, getFlashCheckCode, (const QString &, const QString &, const Map &, List &));

STATIC_OPERATION(CabinetInfoOperator, CabinetInfoOperator *, getInstance, ());
OPERATION(CabinetInfoOperator, bool, setCabSingleBrightness, (const QString &, const QString &, Map &, Map &));
OPERATION(CabinetInfoOperator, bool, setCabinetFlag, (const QString &, const QString &, Map &, Map &));
OPERATION(CabinetInfoOperator, bool, getCabinetBrightnessRange, (const QString &, const QString &, Map &));
OPERATION(CabinetInfoOperator, bool, getCabinetGammaCustomValue, (const QString &, const QString &, Map &));
OPERATION(CabinetInfoOperator, bool, getConfigFile, (const QString &, const QString &, Map &));
OPERATION(CabinetInfoOperator, bool, setCabinetGammaCustomValue, (const QString &, const QString &, const Map &, Map &));
OPERATION(CabinetInfoOperator, bool, setSingleConfigFile, (const QString &, const QString &, const Map &, Map &));
OPERATION(CabinetInfoOperator, bool, setCabinetSnflags, (const QString &, const List &, Map &));
OPERATION(CabinetInfoOperator, bool, setModuleflags, (const QString &, const List &, Map &));
OPERATION(CabinetInfoOperator, bool, clearModuleCoefficient, (const QString &, Map &, Map &, int));
OPERATION(CabinetInfoOperator, bool, saveModuleCoefficient, (const QString &, Map &, Map &, int));
OPERATION(CabinetInfoOperator, bool, reloadModuleCoefficient, (const QString &, Map &, Map &, int));
OPERATION(CabinetInfoOperator, bool, getCabinetsBaseInfo, (const QString &, List &));
OPERATION(CabinetInfoOperator, bool, getAllCabinetsInfo, (const QString &, List &, bool));
OPERATION(CabinetInfoOperator, bool, getCabAllFlags, (const QString &, List &));

STATIC_OPERATION(ScreenInfo, ScreenInfo *, getInstance, ());
OPERATION(ScreenInfo, bool, getScreens, (const QString &, Map &, bool));
OPERATION(ScreenInfo, bool, getGammaAllList, (const QString &, const QString &, Map &));
OPERATION(ScreenInfo, bool, setBrightness, (const QString &, const QString &, const Map &));
OPERATION(ScreenInfo, bool, setGammaTable, (const QString &, const QString &, const Map &));
OPERATION(ScreenInfo, bool, setPixelImage, (const QString &, const Map &, Map &));
OPERATION(ScreenInfo, bool, setPixelImageMode, (const QString &, const Map &, Map &));
OPERATION(ScreenInfo, bool, setCorrectClearImage, (const QString &, const Map &));
OPERATION(ScreenInfo, void, signal_screenNameChanged, (QString, QString));
// Two overloads: the cast picks one by its exact signature, or does not compile.
using Draw = bool (ScreenInfo::*)(const QString &, const Map &, Map &);
using DrawWithHeader = bool (ScreenInfo::*)(const QString &, const Map &, Map &, QMap<QString, QString> &);
static_assert(std::is_same<decltype(static_cast<Draw>(&ScreenInfo::setCheckerBoardImage)), Draw>::value);
static_assert(std::is_same<decltype(static_cast<DrawWithHeader>(&ScreenInfo::setCheckerBoardImage)), DrawWithHeader>::value);

STATIC_OPERATION(HWInfo, HWInfo *, getInstance, ());
OPERATION(HWInfo, bool, getHWInfo, (const QString &, Map &, bool));
OPERATION(HWInfo, bool, lock, (const QString &, const Map &, Map &));
OPERATION(HWInfo, bool, unLock, (const QString &, const Map &));

using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;
static_assert(std::is_base_of<QObject, HttpProxy>::value && sizeof(HttpProxy) == sizeof(QObject));
static_assert(sizeof(HttpDeviceInfo) == 16);
FIELD(HttpDeviceInfo, QString, key, 0);
FIELD(HttpDeviceInfo, QString, label, 8);
STATIC_OPERATION(HttpProxy, HttpProxy *, getInstance, ());
OPERATION(HttpProxy, void, initialize, (bool));
OPERATION(HttpProxy, QList<HttpDeviceInfo>, getDeviceList, ());
OPERATION(HttpProxy, void, deviceChanged, ());

/// The `Word` at `offset` bytes of an object.
template <typename Word, typename Object>
Word wordAt(const Object &object, std::size_t offset)
{
    Word word;
    std::memcpy(&word, reinterpret_cast<const char *>(std::addressof(object)) + offset, sizeof word);
    return word;
}

/// The block that a text shares with its copies.
const void *sharedBlock(const QString &text)
{
    return wordAt<const void *>(text, 0);
}

} // namespace

class TestSlotOrders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void operationsSitInTheirSlots_data();
    void operationsSitInTheirSlots();
    void noClassHasFurtherSlots_data();
    void noClassHasFurtherSlots();
    void gridsKeepTheirFieldsInOrder_data();
    void gridsKeepTheirFieldsInOrder();
    void gridsKeepTheirValuesAndKindBehindTheDimensions();
    void aCabinetHoldsItsDescriptionAlone();
    void aGroupHoldsItsListAlone();
    void aSubScreenHoldsItsCabinetsThenItsKey();
    void aScreenHoldsItsSubScreensThenNameThenId();
    void anAverageHoldsDeviceThenCabinetThenMap();
    void signalsAreSignals();

private:
    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
};

void TestSlotOrders::operationsSitInTheirSlots_data()
{
    QTest::addColumn<int>("slot");
    QTest::addColumn<int>("expected");

    const QVector<ClassSlots> classes = allClasses();
    for (const ClassSlots &shape : classes) {
        int expected = shape.firstSlot;
        for (const Operation &operation : shape.operations) {
            const QByteArray name =
                QByteArray(shape.name) + " slot " + QByteArray::number(expected) + " is " + operation.name;
            QTest::newRow(name.constData()) << operation.slot << expected;
            ++expected;
        }
    }
}

void TestSlotOrders::operationsSitInTheirSlots()
{
    QFETCH(int, slot);
    QFETCH(int, expected);
    QCOMPARE(slot, expected);
}

void TestSlotOrders::noClassHasFurtherSlots_data()
{
    QTest::addColumn<int>("slots");
    QTest::addColumn<int>("expected");

    // The lists above are whole: these are the numbers of operations, plus two for a virtual destructor.
    const QMap<QByteArray, int> expected{
        {"ICoefficient", 10},
        {"IChromaCoefficient", 16},
        {"Coefficient", 16},
        {"ILowGrayCoefficient", 13},
        {"LowGrayCoefficient", 13},
        {"IMultilayerCoefficient", 13},
        {"MultilayerCoefficient", 13},
        {"ICabinetCoefficient", 4},
        {"CabinetAvgCoefficient", 4},
        {"ICabinet", 26},
        {"CabinetV4", 26},
        {"ICabinets", 10},
        {"CabinetsV4", 10},
        {"ISubScreen", 2 + 29},
        {"SubScreenV4", 2 + 29},
        {"IScreen", 2 + 34},
        {"ScreenV4", 2 + 34},
    };
    const QVector<ClassSlots> classes = allClasses();
    QCOMPARE(classes.size(), expected.size());
    for (const ClassSlots &shape : classes) {
        QTest::newRow(shape.name) << shape.slotCount << expected.value(shape.name, -1);
        QCOMPARE(shape.firstSlot + shape.operations.size(), expected.value(shape.name, -1));
    }
}

void TestSlotOrders::noClassHasFurtherSlots()
{
    QFETCH(int, slots);
    QFETCH(int, expected);
    QCOMPARE(slots, expected);
}

void TestSlotOrders::gridsKeepTheirFieldsInOrder_data()
{
    QTest::addColumn<QByteArray>("object");
    QTest::addColumn<int>("pixelLength");

    // The leading words of a grid of 5 columns and 3 rows.
    const auto head = [](const auto &grid) { return QByteArray(reinterpret_cast<const char *>(std::addressof(grid)), 20); };
    QTest::newRow("chroma") << head(Coefficient(5, 3)) << 9;
    QTest::newRow("low-gray") << head(LowGrayCoefficient(5, 3)) << 9;
    QTest::newRow("multilayer") << head(MultilayerCoefficient(5, 3)) << 16;
    QTest::newRow("multilayer of another pixel length") << head(MultilayerCoefficient(5, 3, 7)) << 7;
}

void TestSlotOrders::gridsKeepTheirFieldsInOrder()
{
    QFETCH(QByteArray, object);
    QFETCH(int, pixelLength);
    int fields[3] = {0, 0, 0};
    std::memcpy(fields, object.constData() + sizeof(void *), sizeof fields);
    QCOMPARE(fields[0], 3); // m_pixelRow
    QCOMPARE(fields[1], 5); // m_pixelCol
    QCOMPARE(fields[2], pixelLength);
}

void TestSlotOrders::gridsKeepTheirValuesAndKindBehindTheDimensions()
{
    const int values = 24; // behind the table pointer, three numbers and a gap
    const int kind = 32;

    Coefficient chroma(2, 1);
    const Values chromaValues = chroma.getCoefficient();
    QCOMPARE(wordAt<const void *>(chroma, values), wordAt<const void *>(chromaValues, 0));
    QCOMPARE(wordAt<int>(chroma, kind), 0);

    LowGrayCoefficient lowGray(2, 1);
    const Values lowGrayValues = lowGray.getCoefficient();
    QCOMPARE(wordAt<const void *>(lowGray, values), wordAt<const void *>(lowGrayValues, 0));
    QCOMPARE(wordAt<int>(lowGray, kind), 2);

    MultilayerCoefficient multilayer(2, 1);
    const QByteArray bytes = multilayer.getCoefficient();
    QCOMPARE(wordAt<const void *>(multilayer, values), wordAt<const void *>(bytes, 0));
}

void TestSlotOrders::aCabinetHoldsItsDescriptionAlone()
{
    auto *const info = new CabinetInfo;
    CabinetV4 cabinet(info);
    QCOMPARE(wordAt<const void *>(cabinet, 8), static_cast<const void *>(info));
}

void TestSlotOrders::aGroupHoldsItsListAlone()
{
    CabinetV4 cabinet(nullptr);
    QList<ICabinet *> cabinets{&cabinet};
    CabinetsV4 group(cabinets);
    QCOMPARE(wordAt<const void *>(group, 8), wordAt<const void *>(cabinets, 0));
}

void TestSlotOrders::aSubScreenHoldsItsCabinetsThenItsKey()
{
    const QString key = QStringLiteral("device") + QString::number(7);
    SubScreenV4 subScreen(key);
    QCOMPARE(wordAt<const void *>(subScreen, 16), sharedBlock(key));
    const void *const empty = wordAt<const void *>(subScreen, 8);
    QVERIFY(subScreen.addCabinet(QStringLiteral("1"), QString()));
    QVERIFY(wordAt<const void *>(subScreen, 8) != empty); // a map leaves the shared empty block at its first entry
}

void TestSlotOrders::aScreenHoldsItsSubScreensThenNameThenId()
{
    const QString name = QStringLiteral("name") + QString::number(1);
    const QString id = QStringLiteral("id") + QString::number(2);
    ScreenV4 screen;
    screen.setName(name);
    screen.setID(id);
    QCOMPARE(wordAt<const void *>(screen, 16), sharedBlock(name));
    QCOMPARE(wordAt<const void *>(screen, 24), sharedBlock(id));
    const void *const empty = wordAt<const void *>(screen, 8);
    QVERIFY(screen.addSubScreen(QStringLiteral("A"), nullptr));
    QVERIFY(wordAt<const void *>(screen, 8) != empty);
}

void TestSlotOrders::anAverageHoldsDeviceThenCabinetThenMap()
{
    const QString deviceKey = QStringLiteral("device") + QString::number(3);
    const QString cabinetId = QStringLiteral("cabinet") + QString::number(4);
    CabinetAvgCoefficient average(deviceKey, cabinetId);
    QCOMPARE(wordAt<const void *>(average, 8), sharedBlock(deviceKey));
    QCOMPARE(wordAt<const void *>(average, 16), sharedBlock(cabinetId));
    const QMap<QString, QString> map;
    QCOMPARE(wordAt<const void *>(average, 24), wordAt<const void *>(map, 0)); // all empty maps share one block
}

void TestSlotOrders::signalsAreSignals()
{
    const auto signature = [](const QMetaMethod &method) {
        return method.methodType() == QMetaMethod::Signal ? method.methodSignature() : QByteArray();
    };
    QCOMPARE(signature(QMetaMethod::fromSignal(&ScreenManager::signal_screenChanged)), QByteArray("signal_screenChanged()"));
    QCOMPARE(signature(QMetaMethod::fromSignal(&ScreenManager::signal_screenNameChanged)),
             QByteArray("signal_screenNameChanged(QString,QString)"));
    QCOMPARE(signature(QMetaMethod::fromSignal(&ScreenInfo::signal_screenNameChanged)),
             QByteArray("signal_screenNameChanged(QString,QString)"));
    QCOMPARE(signature(QMetaMethod::fromSignal(&HttpProxy::deviceChanged)), QByteArray("deviceChanged()"));
}

QTEST_GUILESS_MAIN(TestSlotOrders)
#include "tst_slotorders.moc"
