// A host with a backend of its own behind the adapter: one device "A" that drives one cabinet "1".

#include "tour.h"

#include <adapter/DeviceBackend.h>

#include <QtCore/QCoreApplication>

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

namespace {

class OneCabinet : public Adapter::DeviceBackend
{
public:
    QList<Adapter::DeviceInfo> devices() override { return {{QStringLiteral("A"), QStringLiteral("the only device")}}; }

    Adapter::Answer answer(const Adapter::Call &call) override
    {
        const Map cabinetId{{QStringLiteral("id"), QStringLiteral("1")}, {QStringLiteral("outputID"), QStringLiteral("1")}};
        Adapter::Answer answer;
        if (call.operation == QStringLiteral("ScreenInfo::getScreens")) {
            const Map cabinet{{QStringLiteral("cabinetID"), QStringLiteral("1")},
                              {QStringLiteral("outputID"), QStringLiteral("1")},
                              {QStringLiteral("size.width"), 4},
                              {QStringLiteral("size.height"), 2}};
            const Map subScreen{{QStringLiteral("cabinets"), List{cabinet}}};
            answer.reply = Map{{QStringLiteral("screenUUID"), QStringLiteral("screen")},
                               {QStringLiteral("screenName"), QStringLiteral("Screen")},
                               {QStringLiteral("expendInfo.isAllowSingleDev"), true},
                               {QStringLiteral("subScreens"), List{subScreen}}};
        } else if (call.operation == QStringLiteral("CabinetInfoOperator::getAllCabinetsInfo")
                   || call.operation == QStringLiteral("CabinetInfoOperator::getCabAllFlags")) {
            answer.reply = List{cabinetId};
        } else if (call.operation == QStringLiteral("Correctionop::uploadCoefficientAsync")) {
            const Map block =
                call.request.toList().value(0).toMap().value(QStringLiteral("coefficientList")).toList().value(0).toMap();
            m_coefficients = block.value(QStringLiteral("coefficient")).toString();
        } else if (call.operation == QStringLiteral("Correctionop::loadCoefficient")) {
            answer.reply = List{Map{{QStringLiteral("area.size.width"), 4},
                                    {QStringLiteral("area.size.height"), 2},
                                    {QStringLiteral("coefficients"), m_coefficients}}};
        } else if (call.operation == QStringLiteral("Correctionop::saveCabinetsCoeffcient")
                   || call.operation == QStringLiteral("Correctionop::setMutiCabinetSolid")) {
            ++saves;
        } else {
            answer.result = false;
        }
        return answer;
    }

    int saves = 0;

private:
    QString m_coefficients; // the whole cabinet, as base64 text
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    OneCabinet backend;
    Adapter::setBackend(&backend);
    tour();
    EXPECT(backend.saves == 2);
    EXPECT(screenChanges([&backend] { Q_EMIT backend.devicesChanged(); }) == 1);
    return 0;
}
