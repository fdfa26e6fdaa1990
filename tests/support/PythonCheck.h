#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

namespace TestSupport {

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// A script that compares files of a test with what it computes itself with NumPy: exit code 0, or 1 and a line for each
/// problem.
class PythonCheck
{
public:
    PythonCheck(const QString &script, const QStringList &arguments) : m_arguments(QStringList{script} + arguments)
    {
        // The package of a distribution belongs to the distribution's Python.
        if (run(m_python, {QStringLiteral("-c"), QStringLiteral("import numpy")}) != 0)
            m_python = QStringLiteral("/usr/bin/python3");
    }

    /// The exit code, -1 when the script did not end by itself.
    int run() { return run(m_python, m_arguments); }
    /// What the last run printed.
    const QByteArray &output() const { return m_output; }

    /// Whether the script finds a problem while a file is changed. The file is restored.
    bool notices(const QString &path, const std::function<void(QByteArray &)> &change)
    {
        m_output.clear();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const QByteArray before = file.readAll();
        file.close();
        QByteArray after = before;
        change(after);
        const int code = after != before && writeFile(path, after) ? run() : -1;
        return writeFile(path, before) && code == 1 && m_output.contains(" problems");
    }

private:
    int run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.start(program, arguments);
        const bool isEnded = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit;
        m_output = process.readAllStandardOutput() + process.readAllStandardError();
        return isEnded ? process.exitCode() : -1;
    }

    QStringList m_arguments;
    QString m_python = QStringLiteral("python3");
    QByteArray m_output;
};

} // namespace TestSupport
