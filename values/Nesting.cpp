#include "Nesting.h"

#include <new>
#include <utility>
#include <vector>

namespace Nesting {
namespace {

/// Takes the container out of `value`, calls `change` with it and puts it back: with a single reference it does not detach.
template <class Change>
void changeContainer(QVariant &value, Change change)
{
    visit(value, [&](const auto &held) {
        auto container = held;
        value.clear(); // releases what `held` refers to
        change(container);
        value = QVariant::fromValue(container);
    });
}

bool isContainer(const QVariant &value)
{
    return visit(value, [](const auto &) {});
}

template <class Container>
bool isDeeper(const Container &container, int levels)
{
    for (const QVariant &value : container) {
        bool deeper = false;
        visit(value, [&](const auto &inner) { deeper = levels == 0 || isDeeper(inner, levels - 1); });
        if (deeper)
            return true;
    }
    return false;
}

/// Moves containers nested deeper than `levels` to `taken`.
template <class Container>
void takeDeeper(Container &container, int levels, std::vector<QVariant> &taken)
{
    for (QVariant &value : container) {
        if (levels > 0) {
            changeContainer(value, [&](auto &inner) { takeDeeper(inner, levels - 1, taken); });
        } else if (isContainer(value)) {
            taken.emplace_back();
            taken.back().swap(value);
        }
    }
}

/// Destroys level by level, so that the stack does not grow with the nesting.
void destroy(std::vector<QVariant> taken)
{
    while (!taken.empty()) {
        QVariant outer;
        outer.swap(taken.back());
        taken.pop_back();
        changeContainer(outer, [&](auto &container) { takeDeeper(container, 0, taken); });
    }
}

template <class Container>
bool limitContainer(Container &container)
{
    if (!isDeeper(container, deepest - 1))
        return false;
    std::vector<QVariant> taken;
    takeDeeper(container, deepest - 1, taken);
    destroy(std::move(taken));
    return true;
}

} // namespace

bool limit(QVariantMap &value)
{
    return limitContainer(value);
}

bool limit(QVariantList &value)
{
    return limitContainer(value);
}

bool limit(QVariant &value)
{
    bool deeper = false;
    visit(value, [&](const auto &held) { deeper = isDeeper(held, deepest - 1); });
    if (deeper)
        changeContainer(value, [](auto &container) { limitContainer(container); });
    return deeper;
}

QString limitNote()
{
    return QStringLiteral("the reply is nested deeper than %1 levels: the rest is left out").arg(deepest);
}

void release(QVariant &value) noexcept
{
    bool isLastOwner = false;
    visit(value, [&](const auto &held) { isLastOwner = held.isDetached() && isDeeper(held, deepest - 1); });
    if (isLastOwner) {
        try {
            limit(value);
        } catch (const std::bad_alloc &) {
            // Without memory for the list of its parts it is destroyed as it is.
        }
    }
    value.clear();
}

} // namespace Nesting
