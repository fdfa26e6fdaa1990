#include "cabinet/DeviceCall.h"

#include <QtCore/QDebug>

namespace Correction {
namespace detail {

void logMissingService()
{
    qCCritical(lcCorrection) << "the host provides no device service";
}

void logServiceException()
{
    qCCritical(lcCorrection) << "the device service threw an exception";
}

} // namespace detail
} // namespace Correction
