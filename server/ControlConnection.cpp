#include "ControlConnection.h"

#include <QLocalSocket>

#include <utility>

namespace {

constexpr qint64 BytesPerTurn = 64LL * 1024;
constexpr qint64 CongestionBytes = 1024LL * 1024;

QByteArray tooLong()
{
    return R"({"error":"a line is longer than )" + QByteArray::number(LineReader::LongestLine)
        + R"( bytes","ok":false})";
}

} // namespace

ControlConnection::ControlConnection(qintptr descriptor, Answering answering)
    : m_socket(new QLocalSocket(this))
    , m_answering(std::move(answering))
{
    m_socket->setReadBufferSize(BytesPerTurn);
    connect(m_socket, &QLocalSocket::readyRead, this, &ControlConnection::read);
    connect(m_socket, &QLocalSocket::bytesWritten, this, &ControlConnection::read,
            Qt::QueuedConnection);
    connect(m_socket, &QLocalSocket::disconnected, this, &ControlConnection::closed);
    if (!m_socket->setSocketDescriptor(descriptor))
        QMetaObject::invokeMethod(this, &ControlConnection::closed, Qt::QueuedConnection);
}

ControlConnection::~ControlConnection()
{
    m_socket->disconnect(this);
}

void ControlConnection::read()
{
    serve();
    while (!isCongested() && m_socket->bytesAvailable() > 0) {
        m_reader.append(m_socket->read(BytesPerTurn));
        serve();
    }
}

void ControlConnection::serve()
{
    QByteArray line;
    while (!isCongested()) {
        const LineReader::Line found = m_reader.take(&line);
        if (found == LineReader::Line::None)
            return;
        m_socket->write((found == LineReader::Line::Whole ? m_answering(line) : tooLong()) + '\n');
        m_socket->flush();
    }
}

bool ControlConnection::isCongested() const
{
    return m_socket->bytesToWrite() > CongestionBytes;
}
