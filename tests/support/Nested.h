#pragma once

#include <values/Nesting.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>

#include <pthread.h>

namespace TestSupport {

/// `levels` containers inside one another, their kinds in turn: a map (m), a list (l) or a hash (h). Nothing else holds
/// them.
inline QVariant nested(int levels, const QString &kinds = QStringLiteral("ml"))
{
    QVariant inner = 1;
    for (int level = levels; level > 0; --level) {
        QVariant outer;
        const QChar kind = kinds[level % kinds.size()];
        if (kind == QLatin1Char('m')) {
            QVariantMap map{{QStringLiteral("in"), QVariant()}};
            map.first().swap(inner);
            outer = map;
        } else if (kind == QLatin1Char('l')) {
            QVariantList list{QVariant()};
            list.first().swap(inner);
            outer = list;
        } else {
            QVariantHash hash{{QStringLiteral("in"), QVariant()}};
            hash.begin()->swap(inner);
            outer = hash;
        }
        inner.swap(outer);
    }
    return inner;
}

/// The levels of such a value, or of a copy that was limited.
inline int levelsOf(const QVariant &value)
{
    int levels = 0;
    QVariant inner = value; // `value` holds all of them meanwhile
    for (bool isLast = false; !isLast;) {
        QVariant next;
        const bool isContainer = Nesting::visit(inner, [&](const auto &held) {
            ++levels;
            if (!held.isEmpty())
                next = *held.cbegin();
        });
        isLast = !isContainer;
        inner = next;
    }
    return levels;
}

/// Sanitizers make frames larger. On s390x they are larger, too: QJsonDocument alone needs more than 512 KiB for 1000 maps.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__s390x__)
constexpr unsigned smallStack = 4 * 512 * 1024;
#else
constexpr unsigned smallStack = 512 * 1024;
#endif

/// Calls a function on a thread whose stack is as small as those of some hosts. Not a QThread: ThreadSanitizer does not see
/// that QThread::wait() orders what the thread did before what follows.
inline void onSmallStack(std::function<void()> function)
{
    pthread_attr_t attributes;
    pthread_t thread;
    const auto run = [](void *what) -> void * {
        (*static_cast<std::function<void()> *>(what))();
        return nullptr;
    };
    if (pthread_attr_init(&attributes) != 0 || pthread_attr_setstacksize(&attributes, smallStack) != 0
        || pthread_create(&thread, &attributes, run, &function) != 0)
        qFatal("no thread with a small stack");
    pthread_attr_destroy(&attributes);
    pthread_join(thread, nullptr);
}

} // namespace TestSupport
