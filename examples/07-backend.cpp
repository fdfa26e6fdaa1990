// A backend in one file: one device with one cabinet of 4 x 2 pixels, in memory, as a plug-in for any program that loads
// one.

#include <adapter/BackendPlugin.h>

#include <QtCore/QByteArray>

class LittleBackend : public Adapter::DeviceBackend
{
public:
    QList<Adapter::DeviceInfo> devices() override { return {{QStringLiteral("A"), QStringLiteral("in memory")}}; }

    Adapter::Answer answer(const Adapter::Call &call) override
    {
        const QString id = QStringLiteral("1");
        const QString output = QStringLiteral("1");
        Adapter::Answer answer;
        if (call.operation == QLatin1String("HWInfo::getHWInfo")) {
            answer.reply = QVariantMap{{QStringLiteral("customName"), QStringLiteral("Little")}};
        } else if (call.operation == QLatin1String("ScreenInfo::getScreens")) {
            const QVariantMap place{{QStringLiteral("cabinetID"), id},       {QStringLiteral("outputID"), output},
                                    {QStringLiteral("position.x"), 0},       {QStringLiteral("position.y"), 0},
                                    {QStringLiteral("size.width"), m_width}, {QStringLiteral("size.height"), m_height}};
            const QVariantMap part{{QStringLiteral("position.x"), 0},
                                   {QStringLiteral("position.y"), 0},
                                   {QStringLiteral("cabinets"), QVariantList{place}}};
            answer.reply = QVariantMap{{QStringLiteral("screenUUID"), QStringLiteral("little")},
                                       {QStringLiteral("screenName"), QStringLiteral("Little")},
                                       {QStringLiteral("expendInfo.isAllowSingleDev"), true},
                                       {QStringLiteral("position.x"), 0},
                                       {QStringLiteral("position.y"), 0},
                                       {QStringLiteral("subScreens"), QVariantList{part}}};
        } else if (call.operation == QLatin1String("CabinetInfoOperator::getAllCabinetsInfo")) {
            answer.reply = QVariantList{QVariantMap{{QStringLiteral("id"), id}, {QStringLiteral("outputID"), output}}};
        } else if (call.operation == QLatin1String("CabinetInfoOperator::getCabAllFlags")) {
            answer.reply = QVariantList{QVariantMap{{QStringLiteral("id"), id},
                                                    {QStringLiteral("flag"), QString()},
                                                    {QStringLiteral("recvcardflags"), QVariantList()}}};
        } else if (call.operation == QLatin1String("Correctionop::loadCoefficient")) {
            answer.reply =
                QVariantList{QVariantMap{{QStringLiteral("area.point.x"), 0},
                                         {QStringLiteral("area.point.y"), 0},
                                         {QStringLiteral("area.size.width"), m_width},
                                         {QStringLiteral("area.size.height"), m_height},
                                         {QStringLiteral("coefficients"), QString::fromLatin1(m_chroma.toBase64())}}};
        } else {
            answer.result = false;
            answer.note = QStringLiteral("not implemented");
        }
        return answer;
    }

private:
    const int m_width = 4;
    const int m_height = 2;
    const QByteArray m_chroma = QByteArray(m_width * m_height * 18, 0); // 9 values of 16 bits for each pixel
};

class LittlePlugin : public QObject, public Adapter::BackendPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID Correction_BackendPlugin_iid)
    Q_INTERFACES(Adapter::BackendPlugin)

public:
    std::unique_ptr<Adapter::DeviceBackend> create(const QString &, QString &) override
    {
        return std::make_unique<LittleBackend>();
    }
};

#include "07-backend.moc"
