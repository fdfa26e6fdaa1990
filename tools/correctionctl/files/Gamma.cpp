#include "Gamma.h"

#include "Files.h"
#include "Json.h"
#include "terminal/ExitCodes.h"

#include <adapter/json/Table.h>

#include <QtCore/QStringList>

#include <limits>

using namespace Correction;

// What a gamma file holds.
namespace Json {

namespace {

struct GammaFile {
    QList<int> red;
    QList<int> green;
    QList<int> blue;
};

struct Entries : ListOf<Integer> {
    Entries() : ListOf<Integer>{Integer{0, std::numeric_limits<int>::max()}} {}
    void read(Reader &reader, const QJsonValue &value, QList<int> &list) const
    {
        if (value.isArray() && value.toArray().isEmpty())
            return reader.problem(QStringLiteral("expected a list of numbers, got none"));
        ListOf<Integer>::read(reader, value, list);
    }
};

} // namespace

template <>
struct Table<GammaFile> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("red", "", &GammaFile::red, Entries());
        field("green", "", &GammaFile::green, Entries());
        field("blue", "", &GammaFile::blue, Entries());
    }
    static void check(Reader &reader, const GammaFile &file)
    {
        if (reader.isGood() && file.red.isEmpty() && file.green.isEmpty() && file.blue.isEmpty())
            reader.problem(QStringLiteral("expected an object with \"red\", \"green\" or \"blue\""));
    }
};

} // namespace Json

namespace Ctl {

namespace {

const char *const colours[] = {"red", "green", "blue"};

} // namespace

GammaChannels screenChannels()
{
    return {enRedGamma, enGreenGamma, enBlueGamma};
}

GammaChannels cabinetChannels()
{
    return {0, 2, 1};
}

QJsonObject gammaJson(const GammaTables &tables, const GammaChannels &channels)
{
    QJsonObject object;
    for (std::size_t i = 0; i < channels.size(); ++i)
        object.insert(QLatin1String(colours[i]), numbersJson(tables.value(EnumGammaType(channels[i]))));
    return object;
}

QString gammaSummary(const GammaTables &tables, const GammaChannels &channels)
{
    QStringList parts;
    for (std::size_t i = 0; i < channels.size(); ++i)
        parts.append(
            QStringLiteral("%1 %2").arg(QLatin1String(colours[i])).arg(tables.value(EnumGammaType(channels[i])).size()));
    return parts.join(QStringLiteral(", ")) + QStringLiteral(" entries");
}

GammaTables readGamma(const QString &path, const GammaChannels &channels)
{
    Json::Reader reader(path);
    Json::GammaFile file;
    QJsonObject object;
    if (reader.parse(readFile(path), object))
        Json::readObject(reader, object, file);
    if (!reader.isGood())
        throw Failure(ExitBadData, reader.firstProblem());
    GammaTables tables;
    std::size_t channel = 0;
    for (const QList<int> &table : {file.red, file.green, file.blue}) {
        if (!table.isEmpty())
            tables.insert(EnumGammaType(channels[channel]), table);
        ++channel;
    }
    return tables;
}

QJsonObject supportJson(const CabinetBaseInfo &info)
{
    return {{QStringLiteral("multilayer"), info.multilayercorrection},
            {QStringLiteral("layers"), info.multilayerCorrectionLayer},
            {QStringLiteral("fineGrayscale"), info.fineGrayscale},
            {QStringLiteral("xBitPlus"), info.xBitPlus},
            {QStringLiteral("magicGray"), info.magicGray}};
}

} // namespace Ctl
