#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

namespace TestSupport {

/// The result of a run of correctionctl.
struct Run {
    int exit = -1; ///< -1 when it did not end by itself.
    QByteArray out;
    QByteArray error;

    /// The document of --json.
    QJsonObject document() const { return QJsonDocument::fromJson(out).object(); }
    QJsonObject data() const { return document().value(QStringLiteral("data")).toObject(); }
    /// All of it, for messages of failed tests.
    QByteArray all() const { return "exit " + QByteArray::number(exit) + "\n" + out + error; }
};

inline QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// Runs the built program in a folder of its own, as a user does. The environment is this one's without what changes output.
class Program
{
public:
    explicit Program(const QString &executable = QStringLiteral(CORRECTIONCTL)) : m_executable(executable) {}

    QString path(const QString &name) const { return m_folder.filePath(name); }
    QDir folder() const { return QDir(m_folder.path()); }

    Run run(const QStringList &arguments, const QStringList &environment = {}) const
    {
        QProcess process;
        start(process, arguments, environment);
        Run result;
        const bool ended = process.waitForFinished(-1); // the limit is that of the whole test
        result.exit = ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.out = process.readAllStandardOutput();
        result.error = process.readAllStandardError();
        return result;
    }
    Run run(const char *arguments) const { return run(words(arguments)); }
    Run json(const QStringList &arguments) const { return run(QStringList{QStringLiteral("--json")} + arguments); }
    Run json(const char *arguments) const { return json(words(arguments)); }

    void start(QProcess &process, const QStringList &arguments, const QStringList &environment = {}) const
    {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        variables.remove(QStringLiteral("QT_LOGGING_RULES"));
        variables.remove(QStringLiteral("CORRECTION_WALL"));
        variables.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        variables.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        for (const QString &variable : environment)
            variables.insert(variable.section(QLatin1Char('='), 0, 0), variable.section(QLatin1Char('='), 1));
        process.setProcessEnvironment(variables);
        process.setWorkingDirectory(m_folder.path());
        process.start(m_executable, arguments);
    }

    /// What the completion of bash offers after these words; its error output, if any.
    QStringList complete(const QString &typed) const
    {
        const QByteArray ask = "correctionctl() { '" + QFile::encodeName(m_executable)
                               + "' \"$@\"; }\nshopt -s progcomp\n"
                                 ". ./completion.bash\nCOMP_WORDS=(\"$@\")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                 "compopt() { :; }\n_correctionctl\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
        if (!write(QStringLiteral("completion.bash"), run("--completion bash").out)
            || !write(QStringLiteral("ask.bash"), ask))
            return {QStringLiteral("no file could be written")};
        QProcess bash;
        bash.setWorkingDirectory(m_folder.path());
        bash.setProcessChannelMode(QProcess::MergedChannels);
        bash.start(QStringLiteral("bash"),
                   QStringList{QStringLiteral("--norc"), QStringLiteral("ask.bash"), QStringLiteral("correctionctl")}
                       + typed.split(QLatin1Char(' ')));
        if (!bash.waitForFinished(-1))
            return {QStringLiteral("bash did not end")};
        return QString::fromUtf8(bash.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

    QByteArray content(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool write(const QString &name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }
    bool exists(const QString &name) const { return QFile::exists(path(name)); }
    /// Everything in the folder, temporary files included.
    QStringList files() const { return folder().entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot); }

private:
    QString m_executable;
    QTemporaryDir m_folder;
};

} // namespace TestSupport
