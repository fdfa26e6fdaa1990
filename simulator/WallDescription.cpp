#include <simulator/WallDescription.h>

namespace Simulator {

QRect Device::rect() const
{
    QRect united;
    for (const SubScreen &subScreen : subScreens) {
        for (const Cabinet &cabinet : subScreen.cabinets)
            united |= QRect(screenPosition + subScreen.position + cabinet.position, cabinet.size);
    }
    return united;
}

Device gridDevice(const QString &key, const QPoint &origin, int columns, int rows, const QSize &cabinetSize,
                  int firstCabinetId)
{
    Device device;
    device.key = key;
    device.label = QStringLiteral("Device ") + key;
    device.customName = QStringLiteral("Wall ") + key;
    device.screenId = QStringLiteral("screen");
    device.screenName = QStringLiteral("Screen");
    device.screenPosition = origin;

    const QSize moduleSize(cabinetSize.width() / 2, cabinetSize.height() / 2);
    ReceivingCard card;
    card.id = QStringLiteral("0");
    card.rect = QRect(QPoint(), cabinetSize);
    for (int i = 0; i < 4; ++i) {
        const QPoint place(i % 2 * moduleSize.width(), i / 2 * moduleSize.height());
        card.modules.append({QString::number(i), QString(), QRect(place, moduleSize)});
    }

    SubScreen subScreen;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            Cabinet cabinet;
            cabinet.id = QString::number(firstCabinetId + row * columns + column);
            cabinet.outputId = QString::number(row + 1);
            cabinet.position = QPoint(column * cabinetSize.width(), row * cabinetSize.height());
            cabinet.size = cabinetSize;
            cabinet.receivingCards.append(card);
            subScreen.cabinets.append(cabinet);
        }
    }
    device.subScreens.append(subScreen);
    return device;
}

} // namespace Simulator
