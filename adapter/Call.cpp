#include <adapter/Call.h>

#include <values/Nesting.h>

namespace Adapter {

Call::~Call()
{
    Nesting::release(reply);
}

Answer::~Answer()
{
    Nesting::release(reply);
}

} // namespace Adapter
