#include "Gamma.h"

#include "Files.h"
#include "Json.h"
#include "terminal/ExitCodes.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QStringList>

using namespace Correction;

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
    const auto refuse = [&path](const QString &reason) {
        return Failure(ExitBadData, path + QStringLiteral(": ") + reason);
    };
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(readFile(path), &error);
    if (error.error != QJsonParseError::NoError)
        throw refuse(QStringLiteral("no JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset));
    if (!document.isObject() || document.object().isEmpty())
        throw refuse(QStringLiteral("expected an object with \"red\", \"green\" or \"blue\""));
    GammaTables tables;
    const QJsonObject object = document.object();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        std::size_t colour = 0;
        while (colour < channels.size() && entry.key() != QLatin1String(colours[colour]))
            ++colour;
        if (colour == channels.size())
            throw refuse(QStringLiteral("%1: expected \"red\", \"green\" or \"blue\"").arg(entry.key()));
        if (!entry.value().isArray() || entry.value().toArray().isEmpty())
            throw refuse(QStringLiteral("%1: expected a list of numbers").arg(entry.key()));
        QList<int> table;
        const QJsonArray array = entry.value().toArray();
        for (const QJsonValue &value : array) {
            const int number = value.toInt(-1);
            if (number < 0)
                throw refuse(
                    QStringLiteral("%1[%2]: expected a number from 0 on").arg(entry.key(), QString::number(table.size())));
            table.append(number);
        }
        tables.insert(EnumGammaType(channels[colour]), table);
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
