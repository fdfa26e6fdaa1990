#include "cabinet/OperationScope.h"

namespace Correction {

int &OperationScope::depth()
{
    static thread_local int depth = 0;
    return depth;
}

} // namespace Correction
