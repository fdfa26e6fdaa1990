#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

/// JSON text for people: short objects and lists on one line, everything else indented; the entries keep their order.
namespace Json::Text {

QByteArray text(const QString &text);
QByteArray number(double number);
/// `entries` are "key": value texts made for `depth` + 1; `depth` is how deep the object itself is nested.
QByteArray object(const QVector<QByteArray> &entries, int depth);
QByteArray list(const QVector<QByteArray> &elements, int depth);
QByteArray entry(const char *key, const QByteArray &value);

} // namespace Json::Text
