#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Correction {

/// An operation of this thread on screens, sub-screens, cabinets or groups, for as long as it is on the stack. A device
/// service may call the host back or run the event loop, and a write runs it as well: the host may then remove the objects
/// that the operation still uses.
class OperationScope
{
public:
    OperationScope() { ++depth(); }
    ~OperationScope() { --depth(); }
    OperationScope(const OperationScope &) = delete;
    OperationScope &operator=(const OperationScope &) = delete;

    static bool isInside() { return depth() > 0; }

private:
    static int &depth();
};

/// Owns the objects that this thread removed inside an operation, until it removes one outside of any operation.
template <class Pointer>
class RemovedObjects
{
public:
    /// Call before `add`, with the number of objects to add.
    void expect(int count)
    {
        if (OperationScope::isInside()) {
            m_kept.reserve(m_kept.size() + std::size_t(count));
        } else {
            std::vector<Pointer> released;
            released.swap(m_kept);
        }
    }
    void add(Pointer object) noexcept
    {
        if (OperationScope::isInside())
            m_kept.push_back(std::move(object));
    }

private:
    std::vector<Pointer> m_kept;
};

} // namespace Correction
