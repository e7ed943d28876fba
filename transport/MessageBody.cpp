#include "MessageBody.h"

QByteArray MessageBody::encode(int id, const QString &text)
{
    return text.toLatin1().prepend(static_cast<char>(id & 0xFF));
}

int MessageBody::id(const QByteArray &body)
{
    return static_cast<qint8>(body.at(0));
}

QByteArray MessageBody::bytes(const QByteArray &body)
{
    return body.mid(1);
}

QString MessageBody::text(const QByteArray &body)
{
    // With the length given: without it the text would end at the first zero byte.
    return QString::fromLatin1(body.constData() + 1, body.size() - 1);
}
