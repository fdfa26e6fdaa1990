#pragma once

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtTest/QtTest>

#include <functional>
#include <mutex>
#include <utility>

namespace TestSupport {

/// Collects the log lines of one category while it exists, those of the library unless another one is given. Lines of other
/// categories go on to the capture around it and to the handler before.
///
/// Make it in `initTestCase()` or later: Qt Test installs a handler of its own when the program starts.
///
/// Log lines are part of the library's behaviour: a test takes every critical line that it expects, and `VERIFY_NO_CRITICAL`
/// in its cleanup fails it for any other.
class LogCapture
{
public:
    struct Line {
        QtMsgType type;
        QString text;
    };

    using OnLine = std::function<void(QtMsgType, const QString &)>;

    /// With `onLine`, lines are given to that instead of being collected.
    explicit LogCapture(const char *category = "correction", OnLine onLine = {})
        : m_category(category), m_onLine(std::move(onLine)), m_outer(current())
    {
        current() = this;
        m_previous = qInstallMessageHandler(&LogCapture::handle);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        current() = m_outer;
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /// The texts of one level, oldest first, removed from the capture.
    QStringList take(QtMsgType type)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        QStringList texts;
        QVector<Line> others;
        for (const Line &line : qAsConst(m_lines)) {
            if (line.type == type)
                texts.append(line.text);
            else
                others.append(line);
        }
        m_lines = others;
        return texts;
    }
    QStringList takeCritical() { return take(QtCriticalMsg); }
    QStringList takeWarning() { return take(QtWarningMsg); }
    QStringList takeDebug() { return take(QtDebugMsg); }
    void clear()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.clear();
    }

private:
    static LogCapture *&current()
    {
        static LogCapture *capture = nullptr;
        return capture;
    }
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        LogCapture *outermost = nullptr;
        for (LogCapture *capture = current(); capture; capture = capture->m_outer) {
            if (qstrcmp(context.category, capture->m_category) == 0)
                return capture->add(type, text);
            outermost = capture;
        }
        if (outermost && outermost->m_previous)
            outermost->m_previous(type, context, text);
    }
    void add(QtMsgType type, const QString &text)
    {
        if (m_onLine)
            return m_onLine(type, text);
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.append({type, text});
    }

    const char *const m_category;
    const OnLine m_onLine;
    LogCapture *const m_outer;
    std::mutex m_mutex;
    QVector<Line> m_lines;
    QtMessageHandler m_previous = nullptr;
};

} // namespace TestSupport

/// Fails the running test when the library logged a critical line that it did not take.
#define VERIFY_NO_CRITICAL(capture) QCOMPARE((capture).takeCritical(), QStringList())
