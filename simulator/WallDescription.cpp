#include <simulator/WallDescription.h>

namespace Simulator {

QRect Device::rect(const SubScreen &subScreen, const Cabinet &cabinet) const
{
    // Far from where 32-bit edges, and the width between two of them, could overflow.
    constexpr qint64 farthest = qint64(1) << 29;
    const qint64 x = qint64(screenPosition.x()) + subScreen.position.x() + cabinet.position.x();
    const qint64 y = qint64(screenPosition.y()) + subScreen.position.y() + cabinet.position.y();
    const bool near =
        x >= -farthest && y >= -farthest && x + cabinet.size.width() <= farthest && y + cabinet.size.height() <= farthest;
    if (!cabinet.placed || cabinet.size.isEmpty() || !near)
        return QRect();
    return QRect(QPoint(static_cast<int>(x), static_cast<int>(y)), cabinet.size);
}

QRect Device::rect() const
{
    QRect united;
    for (const SubScreen &subScreen : subScreens) {
        for (const Cabinet &cabinet : subScreen.cabinets)
            united |= rect(subScreen, cabinet);
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
