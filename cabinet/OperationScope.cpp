#include "cabinet/OperationScope.h"

#include <cstddef>
#include <vector>

namespace Correction {
namespace {

struct Removed {
    void *object;
    RemovedObjects::Release release;
};

thread_local bool isClosed = false;

/// Objects may remove others while they are released, also when the thread ends.
class Kept
{
public:
    ~Kept()
    {
        while (!m_objects.empty())
            release();
        isClosed = true;
    }
    void reserve(int count) { m_objects.reserve(m_objects.size() + std::size_t(count)); }
    void add(const Removed &removed) { m_objects.push_back(removed); }
    void release()
    {
        std::vector<Removed> released;
        released.swap(m_objects);
        for (const Removed &removed : released)
            removed.release(removed.object);
    }

private:
    std::vector<Removed> m_objects;
};

thread_local Kept kept;

} // namespace

int &OperationScope::depth()
{
    static thread_local int depth = 0;
    return depth;
}

void RemovedObjects::expect(int count)
{
    if (isClosed)
        return;
    if (OperationScope::isInside())
        kept.reserve(count);
    else
        kept.release();
}

void RemovedObjects::add(void *object, Release release) noexcept
{
    if (OperationScope::isInside() && !isClosed)
        kept.add({object, release}); // expect() has made room
    else
        release(object);
}

} // namespace Correction
