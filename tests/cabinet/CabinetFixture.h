#pragma once

#include <Correction/CabinetInfo.h>
#include <Correction/ICoefficient.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QMap>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtTest/QtTest>

#include "support/LogCapture.h"

#include <memory>

/// What the tests of the cabinet layer share.
namespace CabinetTests {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

inline Simulator::VirtualWall &wall()
{
    return Simulator::VirtualWall::instance();
}

/// A string with single quotes in place of double ones, as in the transcript's lines.
inline QString quoted(const char *text)
{
    return QString::fromUtf8(text).replace(QLatin1Char('\''), QLatin1Char('"'));
}

/// A logged row: one blank between its items.
inline QString row(const QStringList &items)
{
    return items.join(QLatin1Char(' '));
}

/// A list of one element. (A braced list of one variant list or map is easily taken for a copy.)
inline List listOf(const QVariant &element)
{
    List list;
    list.append(element);
    return list;
}

/// A cabinet of 4 x 3 pixels that does not begin at the screen's origin, with two cards and three modules. For a
/// CabinetV4 to own.
inline std::unique_ptr<Correction::CabinetInfo> description(const QString &deviceKey = QStringLiteral("A"),
                                                            const QString &id = QStringLiteral("12"))
{
    auto info = std::make_unique<Correction::CabinetInfo>();
    info->id = id;
    info->flag = QStringLiteral("old flag");
    info->deviceKey = deviceKey;
    info->reserved = QStringLiteral("mine");
    info->rect = QRect(640, 480, 4, 3);
    for (int i = 0; i < 2; ++i) {
        auto *const card = new Correction::RvCardInfo;
        card->id = QString::number(i);
        card->flag = QStringLiteral("card %1").arg(i);
        card->rect = i == 0 ? QRect(0, 0, 128, 64) : QRect(128, 0, 32, 16);
        info->rvCardList.append(card);
    }
    for (int i = 0; i < 3; ++i) {
        auto *const module = new Correction::ModuleInfo;
        module->id = QString::number(10 + i);
        module->flag = QStringLiteral("module %1").arg(i);
        module->rect = QRect(16 * i, 0, 16, 16);
        info->moduleList.append(module);
    }
    return info;
}

inline QString textOf(const QRect &rect)
{
    return QStringLiteral("%1,%2 %3,%4").arg(rect.left()).arg(rect.top()).arg(rect.right()).arg(rect.bottom());
}

/// Everything that a description holds.
inline QStringList contentOf(const Correction::CabinetInfo &info)
{
    QStringList content{info.id, info.flag, info.deviceKey, info.reserved, textOf(info.rect)};
    for (const Correction::RvCardInfo *card : info.rvCardList)
        content << QStringLiteral("card") << card->id << card->flag << textOf(card->rect);
    for (const Correction::ModuleInfo *module : info.moduleList)
        content << QStringLiteral("module") << module->id << module->flag << textOf(module->rect);
    return content;
}

/// A grid of a host: any kind and size, a fixed text, and none of the three kinds' interfaces.
class HostGrid : public Correction::ICoefficient
{
public:
    HostGrid(int kind, int columns, int rows) : m_kind(kind), m_columns(columns), m_rows(rows) {}

    int getPixelRow() override { return m_rows; }
    void setPixelRow(int rows) override { m_rows = rows; }
    int getPixelCol() override { return m_columns; }
    void setPixelCol(int columns) override { m_columns = columns; }
    int getPixelLength() override { return 1; }
    ICoefficient *getCopy() override { return nullptr; }
    Correction::EnumCoefficientType getType() override { return Correction::EnumCoefficientType(m_kind); }
    Correction::EnumErrorCode setPartCoefficient(const QRect &, ICoefficient &) override
    {
        return Correction::enArgumentMismatch;
    }
    ICoefficient *tryGetPart(const QRect &) override { return nullptr; }
    QString toBase64() override
    {
        ++renderings;
        return QStringLiteral("host text");
    }

    int renderings = 0;

private:
    int m_kind;
    int m_columns;
    int m_rows;
};

/// For initTestCase(): debug lines are compared as well, independent of the machine's logging rules.
inline void showDebugLines()
{
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=true"));
}

} // namespace CabinetTests
