// What a host sees of promises: a device service's and a sub-screen's.
#include <Correction/Correction.h>
#include <service/Correctionop.h>

QtPromise::QPromise<bool> upload(Correctionop &service)
{
    return service.uploadCoefficientAsync(QStringLiteral("device"), QList<QVariant>());
}

QtPromise::QPromise<Correction::EnumErrorCode> write(Correction::ISubScreen &subScreen, Correction::ICoefficient &grid)
{
    return subScreen.setCoefficientsAsync(QRect(), grid);
}
