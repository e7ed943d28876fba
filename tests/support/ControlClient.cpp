#include "ControlClient.h"

#include "Waiting.h"

#include <QJsonDocument>
#include <QTest>

bool ControlClient::connectToServer(const QString &name)
{
    m_socket.connectToServer(name);
    return m_socket.waitForConnected(WaitLimitMs);
}

bool ControlClient::isConnected() const
{
    return m_socket.state() == QLocalSocket::ConnectedState;
}

QJsonObject ControlClient::call(const QJsonObject &command)
{
    sendBytes(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
    return nextAnswer();
}

QJsonObject ControlClient::call(const QByteArray &json)
{
    return call(QJsonDocument::fromJson(json).object());
}

bool ControlClient::tell(const QByteArray &json)
{
    const QJsonObject answer = call(json);
    const bool isWell = answer.value(QLatin1String("ok")).toBool();
    if (!isWell)
        qWarning("%s: %s", json.constData(),
                 QJsonDocument(answer).toJson(QJsonDocument::Compact).constData());
    return isWell;
}

void ControlClient::sendBytes(const QByteArray &bytes)
{
    m_socket.write(bytes);
    m_socket.flush();
}

// With the event loop running, so that a test's other sockets go on meanwhile.
QJsonObject ControlClient::nextAnswer()
{
    const auto hasAnswer = [this] { return m_socket.canReadLine(); };
    if (!QTest::qWaitFor([&] { return hasAnswer() || !isConnected(); }, WaitLimitMs)
        || !hasAnswer())
        return {};
    return QJsonDocument::fromJson(m_socket.readLine()).object();
}

QLocalSocket &ControlClient::socket()
{
    return m_socket;
}
