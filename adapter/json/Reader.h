#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVarLengthArray>

namespace Json {

/// Collects the problems of a JSON document: a line for each, `SOURCE: PLACE: REASON`. The place is a path such
/// as `devices[1].screens[0]`, or the line and column of a syntax error.
class Reader
{
public:
    /// `source` names the document in the problems; a file's path.
    explicit Reader(const QString &source) : m_source(source) {}

    /// Reads the document's object. False, and a problem, unless the input is valid JSON and an object. A key that an object
    /// has twice is a problem, too. A byte order mark is skipped.
    bool parse(QByteArray json, QJsonObject &object);
    /// The same for one line of a file; `source` names the file and the line, positions are in bytes.
    bool parseLine(const QByteArray &json, QJsonObject &object);

    /// RAII: the entry of an object, or the element of a list, that is being read.
    class At
    {
    public:
        /// The key must outlive it.
        At(Reader &reader, const char *key) : m_reader(reader) { reader.m_path.append({key, QString(), 0}); }
        At(Reader &reader, const QString &key) : m_reader(reader) { reader.m_path.append({nullptr, key, -1}); }
        At(Reader &reader, int index) : m_reader(reader) { reader.m_path.append({nullptr, QString(), index}); }
        ~At() { m_reader.m_path.removeLast(); }
        At(const At &) = delete;
        At &operator=(const At &) = delete;

    private:
        Reader &m_reader;
    };

    /// The index of the innermost list element around the current place; -1 outside of lists.
    int index() const;

    /// Reports a problem at the current place.
    void problem(const QString &reason);
    /// Reports that another value was expected at the current place.
    void expected(const QString &what, const QJsonValue &got);
    /// Reports an unknown key of the object.
    void unknownKeys(const QJsonObject &object, const QStringList &known);

    /// A value as messages show it.
    static QString shown(const QJsonValue &value);

    int problemCount() const { return m_problems.size(); }
    bool isGood() const { return m_problems.isEmpty(); }
    /// All problems, a line each, without a line break at the end.
    QString problems() const { return m_problems.join(QLatin1Char('\n')); }
    QString firstProblem() const { return m_problems.value(0); }

private:
    struct Step {
        const char *key; ///< UTF-8, or null.
        QString text;    ///< A key that is not a literal.
        int index;       ///< Of an element; negative with `text`.
    };
    bool parse(const QByteArray &json, bool isLine, QJsonObject &object);
    void problemAt(const QString &place, const QString &reason);
    QString problemText(const QString &place, const QString &reason) const;
    /// The text without all but the last of equal keys of an object, and a problem for each of them.
    QByteArray withoutDoubles(const QByteArray &json, bool isLine, QStringList &problems) const;

    QString m_source;
    QStringList m_problems;
    QVarLengthArray<Step, 16> m_path;
};

/// The path of an entry: `path.key`, or `path["key"]` for a key that is not an identifier.
QString pathOf(const QString &path, const QString &key);
QString pathOf(const QString &path, int index);

} // namespace Json
