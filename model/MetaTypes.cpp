#include <Correction/Enumerations.h>

#include <QtCore/QList>
#include <QtCore/QMetaType>

namespace Correction {
namespace {

/// The types of requests and results that Qt does not have itself. Runs when the library is loaded, so that
/// `QMetaType::type()` finds them by name before the first value was put into a variant.
void registerMetaTypes()
{
    qRegisterMetaType<EnumErrorCode>();
    qRegisterMetaType<EnumCoefficientType>();
    qRegisterMetaType<EnumSaveType>();
    qRegisterMetaType<EnumGammaType>();
    qRegisterMetaType<EnumEffectMode>();
    qRegisterMetaType<EnumXBitMode>();
    qRegisterMetaType<QList<int>>(); // a gamma table
}
Q_CONSTRUCTOR_FUNCTION(registerMetaTypes)

} // namespace
} // namespace Correction
