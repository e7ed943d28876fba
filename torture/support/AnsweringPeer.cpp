#include "AnsweringPeer.h"

#include <QEventLoop>
#include <QLocalServer>
#include <QLocalSocket>
#include <QtEndian>

#include <memory>
#include <utility>

namespace {

constexpr int LengthBytes = 4;

} // namespace

AnsweringPeer::AnsweringPeer(Answer answer)
    : m_answer(std::move(answer))
    , m_thread(QThread::create([this] { serve(); }))
{
    m_thread->start();
    m_listening.acquire();
}

AnsweringPeer::~AnsweringPeer()
{
    finish();
}

QList<QByteArray> AnsweringPeer::finish()
{
    m_thread->quit();
    m_thread->wait();
    return m_bodies;
}

void AnsweringPeer::serve()
{
    QLocalServer server;
    QObject::connect(&server, &QLocalServer::newConnection, &server, [this, &server] {
        QLocalSocket *const socket = server.nextPendingConnection();
        const auto received = std::make_shared<QByteArray>();
        QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket, received] {
            received->append(socket->readAll());
            socket->write(answersTo(received.get()));
        });
    });
    if (!server.listen(QStringLiteral("tarnSver")))
        qFatal("the peer cannot listen: %s", qPrintable(server.errorString()));
    m_listening.release();
    QEventLoop().exec(); // until the thread is told to quit
}

QByteArray AnsweringPeer::answersTo(QByteArray *received)
{
    QByteArray answers;
    int taken = 0;
    while (received->size() - taken >= LengthBytes) {
        const auto length
            = static_cast<int>(qFromLittleEndian<quint32>(received->constData() + taken));
        if (received->size() - taken - LengthBytes < length)
            break;
        m_bodies.append(received->mid(taken + LengthBytes, length));
        answers += m_answer(m_bodies.constLast());
        taken += LengthBytes + length;
    }
    received->remove(0, taken);
    return answers;
}
