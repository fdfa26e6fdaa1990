#include <Correction/CabinetAvgCoefficient.h>

namespace Correction {

CabinetAvgCoefficient::CabinetAvgCoefficient(const QString &deviceKey, const QString &cabinetId)
    : m_deviceKey(deviceKey), m_cabinetId(cabinetId)
{
}

CabinetAvgCoefficient::~CabinetAvgCoefficient() = default;

QString CabinetAvgCoefficient::getDeciceKey()
{
    return m_deviceKey;
}

bool CabinetAvgCoefficient::add(QRect, ICoefficient *)
{
    return false;
}

ICoefficient *CabinetAvgCoefficient::tryGetCoefficient(QRect)
{
    return nullptr;
}

QString CabinetAvgCoefficient::toJsonData()
{
    return QString();
}

} // namespace Correction
