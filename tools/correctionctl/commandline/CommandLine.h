#pragma once

#include "terminal/Texts.h"

#include <QtCore/QMap>

namespace Ctl {

/// The values of the parameters by name. They are checked already: conversions cannot fail.
class Arguments
{
public:
    bool has(const char *name) const { return m_values.contains(QLatin1String(name)); }
    QStringList texts(const char *name) const { return m_values.value(QLatin1String(name)); }
    QString text(const char *name, const QString &fallback = QString()) const { return texts(name).value(0, fallback); }
    qint64 number(const char *name, qint64 fallback = 0) const;
    int integer(const char *name, int fallback = 0) const { return static_cast<int>(number(name, fallback)); }
    bool isOn(const char *name) const { return text(name) == QLatin1String("on"); }
    Correction::EnumCoefficientType kind(const char *name = "--type") const;
    QColor color(const char *name, const QColor &fallback) const;

    void set(const QString &name, const QStringList &values) { m_values.insert(name, values); }

private:
    QMap<QString, QStringList> m_values;
};

/// A parsed command line.
struct Invocation {
    const Verb *verb = nullptr; ///< Null when help was requested.
    Arguments arguments;
    QStringList rest; ///< The command line inside a verb that wraps one.
    QString help;     ///< The text to print instead of running a verb.
};

/// `arguments` without the program's name. Throws a Failure with ExitUsage. `verb` is set, also before a Failure, to the
/// verb that is named.
Invocation parseCommandLine(const QStringList &arguments, QString &verb);

QString helpText();
QString helpText(const Family &family);
QString helpText(const Verb &verb);

} // namespace Ctl
