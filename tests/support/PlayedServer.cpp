#include "PlayedServer.h"

#include "WireBytes.h"

namespace {

constexpr int Register = 0;
constexpr int ReadData = 7;
constexpr int WriteData = 10;
constexpr int ReplyReadData = 11;
constexpr int ReplyWriteData = 14;

QByteArray outcome(int result, const QByteArray &data)
{
    const int size = QByteArray::fromBase64(data).size();
    return ";commResult=" + QByteArray::number(result) + ";dataLength=" + QByteArray::number(size)
        + ";data=" + data;
}

} // namespace

bool PlayedServer::isListening() const
{
    return m_peer.isListening();
}

bool PlayedServer::isAsked() const
{
    return m_peer.bodies().contains(WireBytes::body(Register));
}

void PlayedServer::confirm()
{
    m_peer.send(WireBytes::message(Register, "COM1/1/1/x/0,1.0"));
}

bool PlayedServer::hasWrite() const
{
    return !request(WriteData).isEmpty();
}

bool PlayedServer::hasRead() const
{
    return !request(ReadData).isEmpty();
}

void PlayedServer::answerWrite(int result)
{
    m_peer.send(WireBytes::message(ReplyWriteData, request(WriteData) + outcome(result, "")));
}

void PlayedServer::answerRead(int result, const QByteArray &data)
{
    m_peer.send(WireBytes::message(ReplyReadData, request(ReadData) + outcome(result, data)));
}

// The newest, without what only a request has.
QByteArray PlayedServer::request(int id) const
{
    QByteArray newest;
    const QList<QByteArray> bodies = m_peer.bodies();
    for (const QByteArray &body : bodies) {
        if (body.at(0) == static_cast<char>(id) && body.contains("serverConnectionKey=COM1;"))
            newest = body.mid(1, body.indexOf(";timeout=") - 1);
    }
    return newest;
}
