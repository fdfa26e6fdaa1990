#pragma once

#include <Correction/Global.h>

namespace Correction {

/// Reserved name of the interface; it does nothing.
class CORRECTION_EXPORT ArrayOpTool
{
};

} // namespace Correction
