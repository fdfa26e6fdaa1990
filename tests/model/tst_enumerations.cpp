#include "support/LogCapture.h"

#include <Correction/Coefficient.h>
#include <Correction/Enumerations.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>

#include <QtCore/QMap>
#include <QtCore/QVariant>

#include <iterator>
#include <limits>
#include <optional>
#include <type_traits>

using namespace Correction;

namespace {

/// Unscoped, of the size of an int, and able to hold every int.
template <class Enum>
constexpr bool isPlainInt = std::is_enum<Enum>::value &&std::is_convertible<Enum, int>::value
    &&std::is_same<std::underlying_type_t<Enum>, int>::value;

static_assert(isPlainInt<EnumErrorCode>, "result codes travel as int");
static_assert(isPlainInt<EnumCoefficientType>, "kinds travel as int");
static_assert(isPlainInt<EnumSaveType>, "stores travel as int");
static_assert(isPlainInt<EnumGammaType>, "channels travel as int");
static_assert(isPlainInt<EnumEffectMode>, "effect modes travel as int");
static_assert(isPlainInt<EnumXBitMode>, "x-bit modes travel as int");

static_assert(enSuccess == 0 && enArgumentMismatch == 1 && enOutOfRange == 2 && enInvalidParameter == 3, "interface");
static_assert(enFileError == 4 && enTimeout == 5 && enNoDevice == 6 && enNotSupported == 7, "interface");
static_assert(enCabinetNotFound == 8, "interface");
static_assert(enCommonCoefficient == 0 && enMultilayerCoefficient == 1 && enLowgrayCoefficient == 2, "interface");
static_assert(enSaveCommonCoefficient == 0 && enSaveMultilayerCoefficient == 1 && enSaveLowgrayCoefficient == 2,
              "the stores carry the numbers of the kinds");
static_assert(chromaPixelLength == 9 && lowGrayPixelLength == 9 && multilayerPixelLength == 16, "interface");
static_assert(enRedGamma == 0 && enGreenGamma == 1 && enBlueGamma == 2, "interface");

// What the names gave before main(), when this program had used no meta-type itself.
const int namedAtTheStart[] = {
    QMetaType::type("Correction::EnumErrorCode"),
    QMetaType::type("Correction::EnumCoefficientType"),
    QMetaType::type("Correction::EnumSaveType"),
    QMetaType::type("Correction::EnumGammaType"),
    QMetaType::type("Correction::EnumEffectMode"),
    QMetaType::type("Correction::EnumXBitMode"),
    QMetaType::type("QList<int>"),
};

} // namespace

class tst_Enumerations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The test library installs its own handler before the first test and takes it away after the last.
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void haveTheirNumbers_data();
    void haveTheirNumbers();
    void travelInVariants_data();
    void travelInVariants();
    void areNamedInTheMetaTypeSystem();
    void areNamedOnceTheLibraryIsLoaded();
    void serveAsMapKeys();
    void kindsAreThoseOfTheGrids();

private:
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_Enumerations::haveTheirNumbers_data()
{
    QTest::addColumn<int>("enumerator");
    QTest::addColumn<int>("number");
    QTest::newRow("success") << int(enSuccess) << 0;
    QTest::newRow("argument mismatch") << int(enArgumentMismatch) << 1;
    QTest::newRow("out of range") << int(enOutOfRange) << 2;
    QTest::newRow("invalid parameter") << int(enInvalidParameter) << 3;
    QTest::newRow("file error") << int(enFileError) << 4;
    QTest::newRow("timeout") << int(enTimeout) << 5;
    QTest::newRow("no device") << int(enNoDevice) << 6;
    QTest::newRow("not supported") << int(enNotSupported) << 7;
    QTest::newRow("cabinet not found") << int(enCabinetNotFound) << 8;
    QTest::newRow("chroma kind") << int(enCommonCoefficient) << 0;
    QTest::newRow("multilayer kind") << int(enMultilayerCoefficient) << 1;
    QTest::newRow("low-gray kind") << int(enLowgrayCoefficient) << 2;
    QTest::newRow("chroma store") << int(enSaveCommonCoefficient) << 0;
    QTest::newRow("multilayer store") << int(enSaveMultilayerCoefficient) << 1;
    QTest::newRow("low-gray store") << int(enSaveLowgrayCoefficient) << 2;
    QTest::newRow("red channel") << int(enRedGamma) << 0;
    QTest::newRow("green channel") << int(enGreenGamma) << 1;
    QTest::newRow("blue channel") << int(enBlueGamma) << 2;
}

void tst_Enumerations::haveTheirNumbers()
{
    QFETCH(int, enumerator);
    QFETCH(int, number);
    QCOMPARE(enumerator, number);
}

void tst_Enumerations::travelInVariants_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("a named number") << 2;
    QTest::newRow("a number without a name") << 77;
    QTest::newRow("minus one") << -1;
    QTest::newRow("the greatest int") << std::numeric_limits<int>::max();
    QTest::newRow("the least int") << std::numeric_limits<int>::min();
}

template <class Enum>
void travels(int number)
{
    const QVariant variant = QVariant::fromValue(Enum(number));
    QCOMPARE(variant.userType(), qMetaTypeId<Enum>());
    QCOMPARE(int(variant.value<Enum>()), number);
    QCOMPARE(variant.toInt(), number);
}

void tst_Enumerations::travelInVariants()
{
    QFETCH(int, number);
    travels<EnumErrorCode>(number);
    travels<EnumCoefficientType>(number);
    travels<EnumSaveType>(number);
    travels<EnumGammaType>(number);
    travels<EnumEffectMode>(number);
    travels<EnumXBitMode>(number);
}

template <class Enum>
void isNamed(const char *name)
{
    const int id = qRegisterMetaType<Enum>();
    QCOMPARE(QMetaType::type(name), id);
    QCOMPARE(QMetaType::typeName(id), name);
    QVERIFY(QMetaType::typeFlags(id).testFlag(QMetaType::IsEnumeration));
    QCOMPARE(QMetaType::sizeOf(id), int(sizeof(int)));
}

void tst_Enumerations::areNamedInTheMetaTypeSystem()
{
    isNamed<EnumErrorCode>("Correction::EnumErrorCode");
    isNamed<EnumCoefficientType>("Correction::EnumCoefficientType");
    isNamed<EnumSaveType>("Correction::EnumSaveType");
    isNamed<EnumGammaType>("Correction::EnumGammaType");
    isNamed<EnumEffectMode>("Correction::EnumEffectMode");
    isNamed<EnumXBitMode>("Correction::EnumXBitMode");
}

void tst_Enumerations::areNamedOnceTheLibraryIsLoaded()
{
    const int types[] = {qMetaTypeId<EnumErrorCode>(), qMetaTypeId<EnumCoefficientType>(), qMetaTypeId<EnumSaveType>(),
                         qMetaTypeId<EnumGammaType>(), qMetaTypeId<EnumEffectMode>(),      qMetaTypeId<EnumXBitMode>(),
                         qMetaTypeId<QList<int>>()};
    for (int i = 0; i < int(std::size(types)); ++i)
        QCOMPARE(namedAtTheStart[i], types[i]);
}

void tst_Enumerations::serveAsMapKeys()
{
    QMap<EnumGammaType, QList<int>> tables;
    tables[enBlueGamma] = {3};
    tables[enRedGamma] = {1};
    tables[enGreenGamma] = {2};
    tables[EnumGammaType(-1)] = {0};
    const QList<EnumGammaType> inOrder{EnumGammaType(-1), enRedGamma, enGreenGamma, enBlueGamma};
    QCOMPARE(tables.keys(), inOrder);
}

void tst_Enumerations::kindsAreThoseOfTheGrids()
{
    QCOMPARE(Coefficient().getType(), enCommonCoefficient);
    QCOMPARE(MultilayerCoefficient().getType(), enMultilayerCoefficient);
    QCOMPARE(LowGrayCoefficient().getType(), enLowgrayCoefficient);
    QCOMPARE(Coefficient().getPixelLength(), chromaPixelLength);
    QCOMPARE(MultilayerCoefficient().getPixelLength(), multilayerPixelLength);
    QCOMPARE(LowGrayCoefficient().getPixelLength(), lowGrayPixelLength);
}

QTEST_GUILESS_MAIN(tst_Enumerations)
#include "tst_enumerations.moc"
