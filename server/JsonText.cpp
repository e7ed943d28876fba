#include "JsonText.h"

#include <QFile>
#include <QJsonDocument>

namespace {

QString placeOf(const QByteArray &json, int offset)
{
    const QByteArray before = json.left(offset);
    const int line = before.count('\n') + 1;
    const int column = offset - before.lastIndexOf('\n');
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

} // namespace

QJsonObject JsonText::parsed(const QByteArray &json, QString *error)
{
    error->clear();
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        *error = placeOf(json, parseError.offset) + QLatin1String(": ") + parseError.errorString();
    else if (!document.isObject())
        *error = QStringLiteral("line 1: an object is expected");
    return document.object();
}

QByteArray JsonText::fileContent(const QString &fileName, int largest, QString *error)
{
    error->clear();
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot be read: ") + file.errorString();
        return {};
    }
    QByteArray content = file.read(qint64(largest) + 1);
    if (content.size() > largest)
        *error = QStringLiteral("is longer than %1 bytes").arg(largest);
    return content;
}
