#include "ControlChannel.h"

#include "ControlConnection.h"
#include "DeviceServer.h"
#include "JsonFields.h"
#include "JsonText.h"

#include <QJsonDocument>

ControlChannel::ControlChannel(DeviceServer *server)
    : m_server(server)
    , m_reader(server->rack()->keys())
{ }

void ControlChannel::addSteersman(qintptr descriptor)
{
    auto *const connection = new ControlConnection(
        descriptor, [this](const QByteArray &line) { return answerTo(line); });
    connection->setParent(this);
    connect(connection, &ControlConnection::closed, connection, &QObject::deleteLater);
}

QByteArray ControlChannel::answerTo(const QByteArray &line)
{
    QString error;
    QJsonObject answer;
    const QJsonObject object = JsonText::parsed(line, &error);
    if (error.isEmpty()) {
        JsonFields fields(object, QString(), &error);
        const Command command = m_reader.read(&fields);
        if (fields.finish())
            error = command(m_server, &answer);
    }
    m_server->clients()->push();
    answer.insert(QStringLiteral("ok"), error.isEmpty());
    if (!error.isEmpty())
        answer.insert(QStringLiteral("error"), error);
    return QJsonDocument(answer).toJson(QJsonDocument::Compact);
}
