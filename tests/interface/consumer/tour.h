#pragma once

#include <Correction/Correction.h>

#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

#include <cstdlib>

/// Ends the program with 1 when `condition` does not hold.
#define EXPECT(condition)                                                                                                   \
    do {                                                                                                                    \
        if (!(condition)) {                                                                                                 \
            qCritical("%s:%d: expected %s", __FILE__, __LINE__, #condition);                                                \
            std::exit(1);                                                                                                   \
        }                                                                                                                   \
    } while (false)

/// What a host does with any service: it finds one screen "screen", called "Screen", with one cabinet "1" of 4 x 2
/// pixels at its origin, writes coefficients to it, reads them back and saves them.
inline void tour()
{
    using namespace Correction;

    ScreenManager *const manager = ScreenManager::getInstance();
    manager->init();
    EXPECT(manager->refreshScreen() == enSuccess);
    const QMap<QString, QString> names = manager->getNameMapping();
    EXPECT(names.keys() == QStringList{QStringLiteral("screen")});
    EXPECT(names.values() == QStringList{QStringLiteral("Screen")});
    IScreen *const screen = manager->tryGetScreen(QStringLiteral("screen"));
    EXPECT(screen);
    QRect rect;
    EXPECT(screen->tryGetRect(rect) == enSuccess);
    EXPECT(rect == QRect(0, 0, 4, 2));

    CoefficientPtr grid(CoefficientFactory::getCoefficient(enCommonCoefficient, rect.height(), rect.width()));
    EXPECT(grid);
    IChromaCoefficient *const chroma = dynamic_cast<IChromaCoefficient *>(grid.get());
    EXPECT(chroma); // the type information is one on both sides of the boundary
    QVector<unsigned short> values;
    for (int i = 0; i < rect.width() * rect.height() * grid->getPixelLength(); ++i)
        values.append(static_cast<unsigned short>(i * 907));
    EXPECT(chroma->setCoefficient(values) == enSuccess);
    EXPECT(screen->setCoefficients(rect, *grid) == enSuccess);

    Coefficient back(rect.width(), rect.height());
    EXPECT(screen->tryGetCoefficients(rect, back) == enSuccess);
    EXPECT(back.getCoefficient() == values);

    CabinetPtr cabinet(new CabinetV4(new CabinetInfo)); // one of the host's own
    EXPECT(cabinet->getID().isEmpty());
    cabinet.reset();

    CabinetsPtr group(CabinetManager::getInstance()->tryGetCabinets({QStringLiteral("1")}));
    EXPECT(group);
    EXPECT(group->saveUserCoefficient() == enSuccess);
    EXPECT(screen->setMutiCabinetSolid(enSaveCommonCoefficient) == enSuccess);
}

/// Runs `act` and returns how often the manager then emitted that the screens changed.
template <typename Act>
int screenChanges(Act act)
{
    int changes = 0;
    const QMetaObject::Connection connection =
        QObject::connect(Correction::ScreenManager::getInstance(), &Correction::ScreenManager::signal_screenChanged,
                         [&changes] { ++changes; });
    act();
    QObject::disconnect(connection);
    return changes;
}
