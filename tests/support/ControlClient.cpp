#include "ControlClient.h"

#include "Waiting.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

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
    QEventLoop loop;
    QObject::connect(&m_socket, &QLocalSocket::readyRead, &loop, &QEventLoop::quit);
    QObject::connect(&m_socket, &QLocalSocket::disconnected, &loop, &QEventLoop::quit);
    QTimer::singleShot(WaitLimitMs, &loop, &QEventLoop::quit);
    const QDeadlineTimer deadline(WaitLimitMs);
    while (!m_socket.canReadLine() && isConnected() && !deadline.hasExpired())
        loop.exec();
    return QJsonDocument::fromJson(m_socket.readLine()).object();
}

QLocalSocket &ControlClient::socket()
{
    return m_socket;
}
