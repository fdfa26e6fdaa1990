#pragma once

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtTest/QtTest>

#include <mutex>

namespace TestSupport {

/// Collects the library's log lines while it lives; lines of other categories go on to the handler before it.
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

    LogCapture()
    {
        current() = this;
        m_previous = qInstallMessageHandler(&LogCapture::handle);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        current() = nullptr;
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
        LogCapture *const capture = current();
        if (capture && qstrcmp(context.category, "correction") == 0) {
            const std::lock_guard<std::mutex> guard(capture->m_mutex);
            capture->m_lines.append({type, text});
        } else if (capture && capture->m_previous) {
            capture->m_previous(type, context, text);
        }
    }

    std::mutex m_mutex;
    QVector<Line> m_lines;
    QtMessageHandler m_previous = nullptr;
};

} // namespace TestSupport

/// Fails the running test when the library logged a critical line that it did not take.
#define VERIFY_NO_CRITICAL(capture) QCOMPARE((capture).takeCritical(), QStringList())
