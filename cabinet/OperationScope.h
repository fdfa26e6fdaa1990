#pragma once

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

/// Takes over the objects that this thread removes. Outside of every operation they are released at once; inside one they
/// are kept until the next removal or refresh outside of every operation, or until the thread ends.
class RemovedObjects
{
public:
    using Release = void (*)(void *);

    /// Call before `add`, with the number of objects to come. Outside of every operation it releases what is kept.
    static void expect(int count);
    static void add(void *object, Release release) noexcept;
};

} // namespace Correction
