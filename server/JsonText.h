#ifndef JSONTEXT_H
#define JSONTEXT_H

#include <QByteArray>
#include <QJsonObject>
#include <QString>

/// JSON texts whose outermost value is an object. What is wrong goes into \a error, which is empty
/// when all was well.
namespace JsonText {

constexpr int LargestFile = 16 * 1024 * 1024;

/// What \a error says begins with the line and the column.
QJsonObject parsed(const QByteArray &json, QString *error);

/// The bytes of a file of at most \a largest bytes. What \a error says does not name the file.
QByteArray fileContent(const QString &fileName, int largest, QString *error);

} // namespace JsonText

#endif
