#include "support/LogCapture.h"

#include <Correction/ArrayOpTool.h>
#include <Correction/BrightnessRange.h>
#include <Correction/CabinetBaseInfo.h>
#include <Correction/CabinetInfo.h>
#include <Correction/CabinetsModuleFlag.h>
#include <Correction/FlashCheckInfo.h>
#include <Correction/MultilayerParam.h>

#include <QtCore/QVariant>

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

using namespace Correction;

namespace {

template <class Record>
constexpr bool isPlainRecord = std::is_default_constructible<Record>::value &&std::is_copy_constructible<Record>::value
                                   &&std::is_copy_assignable<Record>::value
                               && !std::is_polymorphic<Record>::value;

static_assert(isPlainRecord<CabinetInfo>, "interface");
static_assert(isPlainRecord<RvCardInfo>, "interface");
static_assert(isPlainRecord<ModuleInfo>, "interface");
static_assert(isPlainRecord<CabinetBaseInfo>, "interface");
static_assert(isPlainRecord<FlashCheckInfo>, "interface");
static_assert(isPlainRecord<RxCardFlashCheckInfo>, "interface");
static_assert(isPlainRecord<CabinetsModuleFlag>, "interface");
static_assert(isPlainRecord<BrightnessRange>, "interface");
static_assert(isPlainRecord<MultilayerParam>, "interface");
static_assert(isPlainRecord<MultilayerParamInfo>, "interface");
static_assert(isPlainRecord<MultilayerParamV2>, "interface");
static_assert(isPlainRecord<ArrayOpTool> && std::is_empty<ArrayOpTool>::value, "interface");
static_assert(std::is_nothrow_move_constructible<MultilayerParam>::value, "moved inside vectors");
static_assert(std::is_nothrow_move_constructible<MultilayerParamInfo>::value, "moved inside vectors");
static_assert(std::is_nothrow_move_constructible<MultilayerParamV2>::value, "moved inside vectors");
static_assert(std::is_convertible<const RvCardInfo &, CabinetBaseInfo>::value, "declared, though a call cannot link");

static_assert(std::is_same<decltype(CabinetBaseInfo::multilayerCorrectionLayer), quint8>::value, "kept modulo 256");
static_assert(std::is_same<decltype(BrightnessRange::min), quint32>::value, "interface");
static_assert(std::is_same<decltype(BrightnessRange::max), quint32>::value, "interface");
static_assert(std::is_same<decltype(BrightnessRange::defaultValue), quint32>::value, "interface");
static_assert(std::is_same<decltype(MultilayerParam::inLayer4), quint32>::value, "interface");
static_assert(std::is_same<decltype(MultilayerParam::inVldBitLayer34), quint8>::value, "interface");
static_assert(std::is_same<decltype(MultilayerParamInfo::inLayer), quint32>::value, "interface");
static_assert(std::is_same<decltype(MultilayerParamInfo::inVldBitLayer), quint8>::value, "interface");

bool isEmptyNotNull(const QString &text)
{
    return text.isEmpty() && !text.isNull();
}

/// A string with storage of its own: `isDetached()` returns whether a record still shares it.
QString ownText(const char *text)
{
    QString own = QString::fromLatin1(text);
    own.reserve(32);
    return own;
}

template <class Part>
Part *newPart(const QString &id, const QString &flag, const QRect &rect)
{
    auto *const part = new Part;
    part->id = id;
    part->flag = flag;
    part->rect = rect;
    return part;
}

/// Two cards and three modules.
void fill(CabinetInfo &info)
{
    info.id = QStringLiteral("12");
    info.flag = QStringLiteral("A");
    info.deviceKey = QStringLiteral("device");
    info.reserved = QStringLiteral("more");
    info.rect = QRect(10, 20, 64, 32);
    info.rvCardList.append(newPart<RvCardInfo>(QStringLiteral("1"), QStringLiteral("f1"), QRect(0, 0, 32, 32)));
    info.rvCardList.append(newPart<RvCardInfo>(QStringLiteral("2"), QStringLiteral("f2"), QRect(32, 0, 32, 32)));
    info.moduleList.append(newPart<ModuleInfo>(QStringLiteral("11"), QStringLiteral("g1"), QRect(0, 0, 16, 32)));
    info.moduleList.append(newPart<ModuleInfo>(QStringLiteral("12"), QStringLiteral("g2"), QRect(16, 0, 16, 32)));
    info.moduleList.append(newPart<ModuleInfo>(QStringLiteral("21"), QStringLiteral("g3"), QRect(32, 0, 32, 32)));
}

template <class Part>
void areDeepCopies(const QList<Part *> &copies, const QList<Part *> &originals)
{
    QCOMPARE(copies.size(), originals.size());
    for (int i = 0; i < copies.size(); ++i) {
        QVERIFY(copies[i] != originals[i]);
        QCOMPARE(copies[i]->id, originals[i]->id);
        QCOMPARE(copies[i]->flag, originals[i]->flag);
        QCOMPARE(copies[i]->rect, originals[i]->rect);
    }
}

} // namespace

class tst_Records : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The test library installs its own handler before the first test and takes it away after the last.
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        QCOMPARE(m_log->takeWarning(), QStringList());
        QCOMPARE(m_log->takeDebug(), QStringList());
        m_log.reset();
    }

    void freshCabinetIsEmpty();
    void freshCardAndModuleAreEmpty();
    void freshBaseInfoIsOff();
    void freshFlashCheckIsBad();
    void freshModuleFlagIsEmpty();
    void freshBrightnessRangeIsZero();
    void freshMultilayerParametersAreZero();

    void cabinetAssignmentCopiesAllButTheFlag();
    void cabinetAssignmentKeepsANullFlagToo();
    void copiedCabinetHasANullFlag();
    void copyOfAFreshCabinetIsEmpty();
    void cabinetCopiesOwnTheirParts();
    void assignmentDeletesTheFormerParts();
    void assignmentOfAnEmptyCabinetEmptiesTheLists();
    void selfAssignmentChangesNothing();
    void destructorDeletesTheParts();

    void cardsAndModulesCopyEveryField();
    void baseInfoCopiesEveryField();
    void flashChecksCopyEveryField();
    void moduleFlagCopiesEveryField();
    void brightnessRangeCopiesEveryField();
    void multilayerParametersCopyEveryField();
    void multilayerParametersMoveEveryField();

    void baseInfoIsReadFromAReply_data();
    void baseInfoIsReadFromAReply();
    void baseInfoReplacesEveryField();
    void baseInfoReadsTheFirstMapOnly();
    void baseInfoRefusesAnEmptyReply();

private:
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_Records::freshCabinetIsEmpty()
{
    const CabinetInfo info;
    QVERIFY(isEmptyNotNull(info.id));
    QVERIFY(info.flag.isNull());
    QVERIFY(isEmptyNotNull(info.deviceKey));
    QVERIFY(isEmptyNotNull(info.reserved));
    QVERIFY(info.rect.isNull());
    QCOMPARE(info.rect, QRect());
    QVERIFY(info.rvCardList.isEmpty());
    QVERIFY(info.moduleList.isEmpty());
}

void tst_Records::freshCardAndModuleAreEmpty()
{
    const RvCardInfo card;
    QVERIFY(isEmptyNotNull(card.id));
    QVERIFY(isEmptyNotNull(card.flag));
    QCOMPARE(card.rect, QRect());
    const ModuleInfo module;
    QVERIFY(isEmptyNotNull(module.id));
    QVERIFY(isEmptyNotNull(module.flag));
    QCOMPARE(module.rect, QRect());
}

void tst_Records::freshBaseInfoIsOff()
{
    const CabinetBaseInfo info;
    QCOMPARE(info.multilayercorrection, false);
    QCOMPARE(info.multilayerCorrectionLayer, quint8(0));
    QCOMPARE(info.fineGrayscale, false);
    QCOMPARE(info.xBitPlus, false);
    QCOMPARE(info.magicGray, false);
}

void tst_Records::freshFlashCheckIsBad()
{
    const FlashCheckInfo module;
    QCOMPARE(module.resutlt, false);
    QCOMPARE(module.point, QPoint(0, 0));
    QCOMPARE(module.size, QSize(-1, -1));
    QVERIFY(!module.size.isValid());
    QCOMPARE(module.rect, QRect());
    const RxCardFlashCheckInfo card;
    QCOMPARE(card.rxcardId, 0);
    QCOMPARE(card.outPutId, 0);
    QVERIFY(card.flashList.isEmpty());
}

void tst_Records::freshModuleFlagIsEmpty()
{
    const CabinetsModuleFlag flag;
    QVERIFY(isEmptyNotNull(flag.id));
    QVERIFY(isEmptyNotNull(flag.flag));
}

void tst_Records::freshBrightnessRangeIsZero()
{
    const BrightnessRange range;
    QCOMPARE(range.min, 0u);
    QCOMPARE(range.max, 0u);
    QCOMPARE(range.defaultValue, 0u);
}

void tst_Records::freshMultilayerParametersAreZero()
{
    const MultilayerParam param;
    QCOMPARE(param.inLayer1, 0u);
    QCOMPARE(param.inLayer2, 0u);
    QCOMPARE(param.inLayer3, 0u);
    QCOMPARE(param.inLayer4, 0u);
    QCOMPARE(param.inVldBitLayer01, quint8(0));
    QCOMPARE(param.inVldBitLayer12, quint8(0));
    QCOMPARE(param.inVldBitLayer23, quint8(0));
    QCOMPARE(param.inVldBitLayer34, quint8(0));
    const MultilayerParamInfo layer;
    QCOMPARE(layer.inLayer, 0u);
    QCOMPARE(layer.inVldBitLayer, quint8(0));
    QVERIFY(MultilayerParamV2().params.isEmpty());
}

void tst_Records::cabinetAssignmentCopiesAllButTheFlag()
{
    CabinetInfo source;
    fill(source);
    CabinetInfo target;
    target.flag = QStringLiteral("B");
    QCOMPARE(&(target = source), &target);
    QCOMPARE(target.id, QStringLiteral("12"));
    QCOMPARE(target.flag, QStringLiteral("B"));
    QCOMPARE(target.deviceKey, QStringLiteral("device"));
    QCOMPARE(target.reserved, QStringLiteral("more"));
    QCOMPARE(target.rect, QRect(10, 20, 64, 32));
    QCOMPARE(source.flag, QStringLiteral("A"));
}

void tst_Records::cabinetAssignmentKeepsANullFlagToo()
{
    CabinetInfo source;
    fill(source);
    CabinetInfo target;
    target = source;
    QVERIFY(target.flag.isNull());
}

void tst_Records::copiedCabinetHasANullFlag()
{
    CabinetInfo source;
    fill(source);
    const CabinetInfo copy(source);
    QVERIFY(copy.flag.isNull());
    QCOMPARE(copy.id, QStringLiteral("12"));
    QCOMPARE(copy.deviceKey, QStringLiteral("device"));
    QCOMPARE(copy.reserved, QStringLiteral("more"));
    QCOMPARE(copy.rect, QRect(10, 20, 64, 32));
    QCOMPARE(source.flag, QStringLiteral("A"));
}

void tst_Records::copyOfAFreshCabinetIsEmpty()
{
    const CabinetInfo source;
    const CabinetInfo copy(source);
    QVERIFY(isEmptyNotNull(copy.id));
    QVERIFY(copy.flag.isNull());
    QVERIFY(isEmptyNotNull(copy.deviceKey));
    QVERIFY(isEmptyNotNull(copy.reserved));
    QCOMPARE(copy.rect, QRect());

    CabinetInfo nulls;
    nulls.id = nulls.deviceKey = nulls.reserved = QString();
    const CabinetInfo copyOfNulls(nulls);
    QVERIFY(copyOfNulls.id.isNull());
    QVERIFY(copyOfNulls.deviceKey.isNull());
    QVERIFY(copyOfNulls.reserved.isNull());
}

void tst_Records::cabinetCopiesOwnTheirParts()
{
    CabinetInfo source;
    fill(source);
    CabinetInfo target;
    target = source;
    areDeepCopies(target.rvCardList, source.rvCardList);
    areDeepCopies(target.moduleList, source.moduleList);
    const CabinetInfo copy(source);
    areDeepCopies(copy.rvCardList, source.rvCardList);
    areDeepCopies(copy.moduleList, source.moduleList);

    target.rvCardList.first()->flag = QStringLiteral("changed");
    target.moduleList.first()->rect = QRect();
    QCOMPARE(source.rvCardList.constFirst()->flag, QStringLiteral("f1"));
    QCOMPARE(source.moduleList.constFirst()->rect, QRect(0, 0, 16, 32));
    QCOMPARE(source.rvCardList.size(), 2);
    QCOMPARE(source.moduleList.size(), 3);

    source.rvCardList.append(nullptr);
    source.moduleList.prepend(nullptr);
    const CabinetInfo withNulls(source);
    QCOMPARE(withNulls.rvCardList.size(), 3);
    QVERIFY(withNulls.rvCardList.at(0) && !withNulls.rvCardList.at(2));
    QCOMPARE(withNulls.moduleList.size(), 4);
    QVERIFY(!withNulls.moduleList.at(0) && withNulls.moduleList.at(1));
}

void tst_Records::assignmentDeletesTheFormerParts()
{
    QString cardText = ownText("card");
    QString moduleText = ownText("module");
    CabinetInfo target;
    target.rvCardList.append(newPart<RvCardInfo>(cardText, QString(), QRect()));
    target.moduleList.append(newPart<ModuleInfo>(moduleText, QString(), QRect()));
    QVERIFY(!cardText.isDetached());
    QVERIFY(!moduleText.isDetached());

    CabinetInfo source;
    fill(source);
    target = source;
    QVERIFY(cardText.isDetached());
    QVERIFY(moduleText.isDetached());
    areDeepCopies(target.rvCardList, source.rvCardList);
    areDeepCopies(target.moduleList, source.moduleList);
}

void tst_Records::assignmentOfAnEmptyCabinetEmptiesTheLists()
{
    QString cardText = ownText("card");
    CabinetInfo target;
    fill(target);
    target.rvCardList.append(newPart<RvCardInfo>(cardText, QString(), QRect()));
    target = CabinetInfo();
    QVERIFY(target.rvCardList.isEmpty());
    QVERIFY(target.moduleList.isEmpty());
    QVERIFY(cardText.isDetached());
    QVERIFY(isEmptyNotNull(target.id));
    QCOMPARE(target.rect, QRect());
    QCOMPARE(target.flag, QStringLiteral("A"));
}

void tst_Records::selfAssignmentChangesNothing()
{
    CabinetInfo info;
    fill(info);
    const QList<RvCardInfo *> cards = info.rvCardList;
    const QList<ModuleInfo *> modules = info.moduleList;
    const CabinetInfo &same = info;
    QCOMPARE(&(info = same), &info);
    QCOMPARE(info.rvCardList, cards);
    QCOMPARE(info.moduleList, modules);
    QCOMPARE(cards.constFirst()->flag, QStringLiteral("f1"));
    QCOMPARE(modules.constLast()->flag, QStringLiteral("g3"));
    QCOMPARE(info.id, QStringLiteral("12"));
    QCOMPARE(info.flag, QStringLiteral("A"));
    QCOMPARE(info.deviceKey, QStringLiteral("device"));
    QCOMPARE(info.reserved, QStringLiteral("more"));
    QCOMPARE(info.rect, QRect(10, 20, 64, 32));
}

void tst_Records::destructorDeletesTheParts()
{
    QString cardText = ownText("card");
    QString moduleText = ownText("module");
    {
        CabinetInfo info;
        for (int i = 0; i < 3; ++i) {
            info.rvCardList.append(newPart<RvCardInfo>(QString(), cardText, QRect()));
            info.moduleList.append(newPart<ModuleInfo>(QString(), moduleText, QRect()));
        }
        const CabinetInfo copy(info);
        QVERIFY(!cardText.isDetached());
        QVERIFY(!moduleText.isDetached());
    }
    QVERIFY(cardText.isDetached());
    QVERIFY(moduleText.isDetached());
}

template <class Part>
void partCopiesEveryField()
{
    Part source;
    source.id = QStringLiteral("1");
    source.flag = QStringLiteral("F");
    source.rect = QRect(1, 2, 3, 4);
    const Part copy(source);
    QCOMPARE(copy.id, source.id);
    QCOMPARE(copy.flag, source.flag);
    QCOMPARE(copy.rect, source.rect);
    Part target;
    target.flag = QStringLiteral("old");
    target = source;
    QCOMPARE(target.id, source.id);
    QCOMPARE(target.flag, source.flag);
    QCOMPARE(target.rect, source.rect);
    const Part &same = target;
    target = same;
    QCOMPARE(target.id, source.id);
    QCOMPARE(target.flag, source.flag);
    QCOMPARE(target.rect, source.rect);
}

void tst_Records::cardsAndModulesCopyEveryField()
{
    partCopiesEveryField<RvCardInfo>();
    partCopiesEveryField<ModuleInfo>();
}

void tst_Records::baseInfoCopiesEveryField()
{
    // One switch at a time, so that an exchange of two fields is found.
    for (int field = 0; field < 5; ++field) {
        CabinetBaseInfo source;
        source.multilayercorrection = field == 0;
        source.multilayerCorrectionLayer = field == 1 ? 200 : 0;
        source.fineGrayscale = field == 2;
        source.xBitPlus = field == 3;
        source.magicGray = field == 4;
        CabinetBaseInfo target;
        target.multilayercorrection = target.fineGrayscale = target.xBitPlus = target.magicGray = true;
        target.multilayerCorrectionLayer = 9;
        target = source;
        const CabinetBaseInfo copy(source);
        for (const CabinetBaseInfo *info : {static_cast<const CabinetBaseInfo *>(&target), &copy}) {
            QCOMPARE(info->multilayercorrection, field == 0);
            QCOMPARE(info->multilayerCorrectionLayer, quint8(field == 1 ? 200 : 0));
            QCOMPARE(info->fineGrayscale, field == 2);
            QCOMPARE(info->xBitPlus, field == 3);
            QCOMPARE(info->magicGray, field == 4);
        }
    }
}

void tst_Records::flashChecksCopyEveryField()
{
    FlashCheckInfo module;
    module.resutlt = true;
    module.point = QPoint(3, 4);
    module.size = QSize(5, 6);
    module.rect = QRect(7, 8, 9, 10);
    RxCardFlashCheckInfo source;
    source.rxcardId = 11;
    source.outPutId = 12;
    source.flashList = {FlashCheckInfo(), module};

    const RxCardFlashCheckInfo copy(source);
    RxCardFlashCheckInfo target;
    target = source;
    source.flashList.clear();
    for (const RxCardFlashCheckInfo *card : {&copy, static_cast<const RxCardFlashCheckInfo *>(&target)}) {
        QCOMPARE(card->rxcardId, 11);
        QCOMPARE(card->outPutId, 12);
        QCOMPARE(card->flashList.size(), 2);
        QCOMPARE(card->flashList[0].resutlt, false);
        QCOMPARE(card->flashList[1].resutlt, true);
        QCOMPARE(card->flashList[1].point, QPoint(3, 4));
        QCOMPARE(card->flashList[1].size, QSize(5, 6));
        QCOMPARE(card->flashList[1].rect, QRect(7, 8, 9, 10));
    }
    FlashCheckInfo assigned;
    assigned = module;
    QCOMPARE(assigned.resutlt, true);
    QCOMPARE(assigned.point, QPoint(3, 4));
    QCOMPARE(assigned.size, QSize(5, 6));
    QCOMPARE(assigned.rect, QRect(7, 8, 9, 10));
}

void tst_Records::moduleFlagCopiesEveryField()
{
    CabinetsModuleFlag source;
    source.id = QStringLiteral("5");
    source.flag = QStringLiteral("F");
    const CabinetsModuleFlag copy(source);
    QCOMPARE(copy.id, QStringLiteral("5"));
    QCOMPARE(copy.flag, QStringLiteral("F"));
    CabinetsModuleFlag target;
    target.flag = QStringLiteral("old");
    target = source;
    QCOMPARE(target.id, QStringLiteral("5"));
    QCOMPARE(target.flag, QStringLiteral("F"));
}

void tst_Records::brightnessRangeCopiesEveryField()
{
    BrightnessRange source;
    source.min = 1;
    source.max = 4294967295u;
    source.defaultValue = 3;
    const BrightnessRange copy(source);
    QCOMPARE(copy.min, 1u);
    QCOMPARE(copy.max, 4294967295u);
    QCOMPARE(copy.defaultValue, 3u);
    BrightnessRange target;
    target = source;
    QCOMPARE(target.min, 1u);
    QCOMPARE(target.max, 4294967295u);
    QCOMPARE(target.defaultValue, 3u);
}

namespace {

MultilayerParam sampleParam()
{
    MultilayerParam param;
    param.inLayer1 = 1;
    param.inLayer2 = 2;
    param.inLayer3 = 3;
    param.inLayer4 = 4294967295u;
    param.inVldBitLayer01 = 5;
    param.inVldBitLayer12 = 6;
    param.inVldBitLayer23 = 7;
    param.inVldBitLayer34 = 255;
    return param;
}

void isSampleParam(const MultilayerParam &param)
{
    QCOMPARE(param.inLayer1, 1u);
    QCOMPARE(param.inLayer2, 2u);
    QCOMPARE(param.inLayer3, 3u);
    QCOMPARE(param.inLayer4, 4294967295u);
    QCOMPARE(param.inVldBitLayer01, quint8(5));
    QCOMPARE(param.inVldBitLayer12, quint8(6));
    QCOMPARE(param.inVldBitLayer23, quint8(7));
    QCOMPARE(param.inVldBitLayer34, quint8(255));
}

MultilayerParamInfo sampleLayer(quint32 layer, quint8 bits)
{
    MultilayerParamInfo info;
    info.inLayer = layer;
    info.inVldBitLayer = bits;
    return info;
}

void areSampleLayers(const MultilayerParamV2 &param)
{
    QCOMPARE(param.params.size(), 2);
    QCOMPARE(param.params[0].inLayer, 4294967295u);
    QCOMPARE(param.params[0].inVldBitLayer, quint8(8));
    QCOMPARE(param.params[1].inLayer, 7u);
    QCOMPARE(param.params[1].inVldBitLayer, quint8(255));
}

MultilayerParamV2 sampleLayers()
{
    MultilayerParamV2 param;
    param.params = {sampleLayer(4294967295u, 8), sampleLayer(7, 255)};
    return param;
}

} // namespace

void tst_Records::multilayerParametersCopyEveryField()
{
    const MultilayerParam param = sampleParam();
    isSampleParam(MultilayerParam(param));
    MultilayerParam target;
    target = param;
    isSampleParam(target);

    MultilayerParamV2 layers = sampleLayers();
    const MultilayerParamV2 copy(layers);
    MultilayerParamV2 targetLayers;
    targetLayers = layers;
    layers.params.clear();
    areSampleLayers(copy);
    areSampleLayers(targetLayers);
    MultilayerParamInfo targetLayer;
    targetLayer = copy.params[1];
    QCOMPARE(targetLayer.inLayer, 7u);
    QCOMPARE(targetLayer.inVldBitLayer, quint8(255));
}

void tst_Records::multilayerParametersMoveEveryField()
{
    MultilayerParam param = sampleParam();
    isSampleParam(MultilayerParam(std::move(param)));
    MultilayerParamV2 layers = sampleLayers();
    const MultilayerParamInfo *const storage = layers.params.constData();
    const MultilayerParamV2 moved(std::move(layers));
    areSampleLayers(moved);
    QCOMPARE(moved.params.constData(), storage);
    MultilayerParamInfo layer = sampleLayer(9, 10);
    const MultilayerParamInfo movedLayer(std::move(layer));
    QCOMPARE(movedLayer.inLayer, 9u);
    QCOMPARE(movedLayer.inVldBitLayer, quint8(10));
}

void tst_Records::baseInfoIsReadFromAReply_data()
{
    const auto key = [](const char *name) { return QString::fromLatin1(name); };
    const auto reply = [&key](const QVariantMap &table) { return QVariantList{QVariantMap{{key("functionTable"), table}}}; };
    QTest::addColumn<QVariantList>("reply");
    QTest::addColumn<bool>("multilayercorrection");
    QTest::addColumn<int>("layer");
    QTest::addColumn<bool>("fineGrayscale");
    QTest::addColumn<bool>("xBitPlus");
    QTest::addColumn<bool>("magicGray");

    QTest::newRow("all on") << reply({{key("multilayercorrection"), true},
                                      {key("multilayerCorrectionLayer"), 4},
                                      {key("fineGrayscale"), true},
                                      {key("xBitPlus"), true},
                                      {key("magicGray"), true}})
                            << true << 4 << true << true << true;
    QTest::newRow("only multilayercorrection")
        << reply({{key("multilayercorrection"), true}}) << true << 0 << false << false << false;
    QTest::newRow("only fineGrayscale") << reply({{key("fineGrayscale"), true}}) << false << 0 << true << false << false;
    QTest::newRow("only xBitPlus") << reply({{key("xBitPlus"), true}}) << false << 0 << false << true << false;
    QTest::newRow("only magicGray") << reply({{key("magicGray"), true}}) << false << 0 << false << false << true;
    QTest::newRow("an empty table") << reply({}) << false << 0 << false << false << false;
    QTest::newRow("keys of another case") << reply({{key("multilayerCorrection"), true}, {key("xbitplus"), true}}) << false
                                          << 0 << false << false << false;
    QTest::newRow("no table") << QVariantList{QVariantMap{{key("xBitPlus"), true}}} << false << 0 << false << false << false;
    QTest::newRow("an empty map") << QVariantList{QVariantMap()} << false << 0 << false << false << false;
    QTest::newRow("a table that is not a map")
        << QVariantList{QVariantMap{{key("functionTable"), 7}}} << false << 0 << false << false << false;
    QTest::newRow("an element that is not a map")
        << QVariantList{key("functionTable")} << false << 0 << false << false << false;
    QTest::newRow("an invalid element") << QVariantList{QVariant()} << false << 0 << false << false << false;
    QTest::newRow("numbers and texts as switches") << reply({{key("multilayercorrection"), 1},
                                                             {key("fineGrayscale"), key("true")},
                                                             {key("xBitPlus"), key("false")},
                                                             {key("magicGray"), key("0")}})
                                                   << true << 0 << true << false << false;

    const auto layer = [&](const char *row, const QVariant &value, int expected) {
        QTest::newRow(row) << reply({{key("multilayerCorrectionLayer"), value}}) << false << expected << false << false
                           << false;
    };
    layer("layer 255", 255, 255);
    layer("layer 256", 256, 0);
    layer("layer 257", 257, 1);
    layer("layer as unsigned", 4294967295u, 255);
    layer("layer as text", key("18"), 18);
    layer("layer as a text that fits an unsigned number only", key("3000000001"), 1);
    layer("layer as a negative text", key("-1"), 0);
    layer("layer as no number", key("many"), 0);
}

void tst_Records::baseInfoIsReadFromAReply()
{
    QFETCH(QVariantList, reply);
    QFETCH(bool, multilayercorrection);
    QFETCH(int, layer);
    QFETCH(bool, fineGrayscale);
    QFETCH(bool, xBitPlus);
    QFETCH(bool, magicGray);
    const QVariantList before = reply;
    CabinetBaseInfo info;
    QCOMPARE(info.pasrseJson(reply), true);
    QCOMPARE(info.multilayercorrection, multilayercorrection);
    QCOMPARE(int(info.multilayerCorrectionLayer), layer);
    QCOMPARE(info.fineGrayscale, fineGrayscale);
    QCOMPARE(info.xBitPlus, xBitPlus);
    QCOMPARE(info.magicGray, magicGray);
    QCOMPARE(reply, before);
}

namespace {

CabinetBaseInfo allOn()
{
    CabinetBaseInfo info;
    info.multilayercorrection = info.fineGrayscale = info.xBitPlus = info.magicGray = true;
    info.multilayerCorrectionLayer = 3;
    return info;
}

} // namespace

void tst_Records::baseInfoReplacesEveryField()
{
    CabinetBaseInfo info = allOn();
    QList<QVariant> reply{QVariantMap()};
    QCOMPARE(info.pasrseJson(reply), true);
    QCOMPARE(info.multilayercorrection, false);
    QCOMPARE(info.multilayerCorrectionLayer, quint8(0));
    QCOMPARE(info.fineGrayscale, false);
    QCOMPARE(info.xBitPlus, false);
    QCOMPARE(info.magicGray, false);
}

void tst_Records::baseInfoReadsTheFirstMapOnly()
{
    const auto element = [](int layer) {
        return QVariantMap{
            {QStringLiteral("functionTable"), QVariantMap{{QStringLiteral("multilayerCorrectionLayer"), layer}}}};
    };
    QList<QVariant> reply{element(5), element(6), QVariant()};
    CabinetBaseInfo info;
    QCOMPARE(info.pasrseJson(reply), true);
    QCOMPARE(info.multilayerCorrectionLayer, quint8(5));
}

void tst_Records::baseInfoRefusesAnEmptyReply()
{
    CabinetBaseInfo info = allOn();
    QList<QVariant> reply;
    QCOMPARE(info.pasrseJson(reply), false);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("call getScreenBaseInfo() fail. result.length()<=0 ")});
    QCOMPARE(info.multilayercorrection, true);
    QCOMPARE(info.multilayerCorrectionLayer, quint8(3));
    QCOMPARE(info.fineGrayscale, true);
    QCOMPARE(info.xBitPlus, true);
    QCOMPARE(info.magicGray, true);
}

QTEST_GUILESS_MAIN(tst_Records)
#include "tst_records.moc"
