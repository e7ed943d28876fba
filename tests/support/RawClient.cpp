#include "RawClient.h"

#include "Waiting.h"
#include "WireBytes.h"

#include <QTest>

RawClient::RawClient()
{
    connect(&m_socket, &QLocalSocket::readyRead, this, [this] {
        m_pieces.append(m_socket.readAll());
        m_received += m_pieces.constLast();
    });
}

bool RawClient::connectToServer()
{
    m_socket.connectToServer(QStringLiteral("tarnSver"));
    return m_socket.waitForConnected(WaitLimitMs);
}

bool RawClient::isConnected() const
{
    return m_socket.state() == QLocalSocket::ConnectedState;
}

void RawClient::sendBytes(const QByteArray &bytes)
{
    m_socket.write(bytes);
    m_socket.flush();
}

void RawClient::send(int id, const QByteArray &text)
{
    sendBytes(WireBytes::message(id, text));
}

QByteArray RawClient::received() const
{
    return m_received;
}

QList<QByteArray> RawClient::pieces() const
{
    return m_pieces;
}

int RawClient::receivedBytes() const
{
    return m_received.size();
}

QList<QByteArray> RawClient::bodies() const
{
    return WireBytes::payloads(m_received);
}

QList<QByteArray> RawClient::texts(int id) const
{
    QList<QByteArray> texts;
    const QList<QByteArray> all = bodies();
    for (const QByteArray &body : all) {
        if (body.startsWith(static_cast<char>(id)))
            texts.append(body.mid(1));
    }
    return texts;
}

int RawClient::count(int id) const
{
    return texts(id).size();
}

QList<int> RawClient::ids() const
{
    constexpr int heartbeat = 4;
    QList<int> ids;
    const QList<QByteArray> all = bodies();
    for (const QByteArray &body : all) {
        if (!body.isEmpty() && body.at(0) != heartbeat)
            ids.append(body.at(0));
    }
    return ids;
}

void RawClient::clear()
{
    m_received.clear();
    m_pieces.clear();
}

bool RawClient::registerAtServer()
{
    if (!connectToServer())
        return false;
    send(0);
    return QTest::qWaitFor([this] { return count(0) == 1; }, WaitLimitMs);
}

QLocalSocket &RawClient::socket()
{
    return m_socket;
}

QByteArray fieldText(const QList<QPair<QByteArray, QByteArray>> &fields)
{
    QByteArray text;
    for (const auto &[name, value] : fields) {
        if (!text.isEmpty())
            text += ';';
        text += name + '=' + value;
    }
    return text;
}

QMap<QByteArray, QByteArray> fieldsOf(const QByteArray &text)
{
    QMap<QByteArray, QByteArray> fields;
    const QList<QByteArray> parts = text.split(';');
    for (const QByteArray &part : parts) {
        const int separator = part.indexOf('=');
        fields.insert(part.left(separator), part.mid(separator + 1));
    }
    return fields;
}
