#pragma once

#include <Correction/IScreen.h>

namespace Ctl {

/// Makes a screen show the plain corrected image again, without a test image.
Correction::EnumErrorCode clearTestImage(Correction::IScreen &screen);

} // namespace Ctl
