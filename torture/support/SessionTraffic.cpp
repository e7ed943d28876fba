#include "SessionTraffic.h"

namespace {

constexpr int Window = 16; // more than are under way in any round trip, so the pace is the limit
constexpr int FillMs = 5;
constexpr int RequestsPerCommand = 10;
constexpr int LongestData = 64;
constexpr quint32 Addresses = 32768;
constexpr int LateMs = 1000; // after the time-out
constexpr int KeptEnded = 500; // long enough to be seen ending a second time

// Never 0, which is what stands where nothing was written.
char byteAt(quint32 address)
{
    return static_cast<char>(1 + address % 251);
}

QByteArray writtenAt(quint32 address, int length)
{
    QByteArray data(length, '\0');
    for (int i = 0; i < length; ++i)
        data[i] = byteAt(address + quint32(i));
    return data;
}

bool isRight(const DeviceReply &reply, int readLength)
{
    const QByteArray data = reply.data();
    if (data.size() != readLength)
        return false;
    for (int i = 0; i < data.size(); ++i) {
        if (data.at(i) != 0 && data.at(i) != byteAt(reply.address().address + quint32(i)))
            return false;
    }
    return true;
}

} // namespace

SessionTraffic::SessionTraffic(DeviceSession *session, const QString &key, int timeoutMs,
                               quint32 seed)
    : m_session(session)
    , m_key(key)
    , m_timeoutMs(timeoutMs)
    , m_random(seed)
{
    connect(&m_timer, &QTimer::timeout, this, &SessionTraffic::fill);
    connect(session, &DeviceSession::broadcastReceived, this, [this] { ++m_broadcasts; });
    connect(session, &DeviceSession::tableChanged, this, [this] { ++m_tableChanges; });
}

SessionTraffic::~SessionTraffic()
{
    qDeleteAll(m_endsOf.keyBegin(), m_endsOf.keyEnd());
}

void SessionTraffic::start()
{
    m_timer.start(FillMs);
}

void SessionTraffic::stop()
{
    m_timer.stop();
}

int SessionTraffic::underWay() const
{
    return m_underWay;
}

void SessionTraffic::fill()
{
    while (m_underWay < Window && m_session->state() == DeviceSession::State::Ready) {
        makeRequest();
        if (m_requests % RequestsPerCommand == 0)
            makeCommand();
    }
}

void SessionTraffic::makeRequest()
{
    const EquipmentAddress address(m_key, m_random.bounded(Addresses));
    const int length = m_random.bounded(1, LongestData);
    ++m_requests;
    if (m_random.bounded(2) == 0)
        watch(m_session->read(address, length, m_timeoutMs), length);
    else
        watch(m_session->write(address, writtenAt(address.address, length), m_timeoutMs), 0);
}

void SessionTraffic::makeCommand()
{
    bool isTaken = false;
    switch (m_random.bounded(5)) {
    case 0:
        isTaken = m_session->setAutoConnect(true);
        break;
    case 1:
        isTaken = m_session->connectController(m_key);
        break;
    case 2:
        isTaken = m_session->connectAllControllers();
        break;
    case 3:
        isTaken = m_session->sendOrder("identify");
        break;
    default:
        isTaken = m_session->cancelRequests(m_key);
        break;
    }
    m_commands += isTaken ? 1 : 0;
}

void SessionTraffic::watch(DeviceReply *reply, int readLength)
{
    ++m_underWay;
    m_endsOf.insert(reply, 0);
    connect(reply, &DeviceReply::finished, this, [this, reply, readLength] {
        if (++m_endsOf[reply] > 1)
            ++m_endedTwice;
        else
            end(reply, readLength);
    });
}

void SessionTraffic::end(DeviceReply *reply, int readLength)
{
    --m_underWay;
    ++m_byCode[static_cast<int>(reply->error())];
    if (reply->elapsed() > m_timeoutMs + LateMs)
        ++m_late;
    if (reply->error() == SessionError::Code::None) {
        ++m_byMs[reply->elapsed()];
        if (!isRight(*reply, readLength))
            ++m_wrong;
    }
    m_ended.enqueue(reply);
    while (m_ended.size() > KeptEnded) {
        DeviceReply *const old = m_ended.dequeue();
        m_endsOf.remove(old);
        old->deleteLater();
    }
}

qint64 SessionTraffic::requests() const
{
    return m_requests;
}

qint64 SessionTraffic::commands() const
{
    return m_commands;
}

qint64 SessionTraffic::broadcasts() const
{
    return m_broadcasts;
}

qint64 SessionTraffic::tableChanges() const
{
    return m_tableChanges;
}

qint64 SessionTraffic::ends(SessionError::Code code) const
{
    return m_byCode.value(static_cast<int>(code));
}

qint64 SessionTraffic::endedTwice() const
{
    return m_endedTwice;
}

qint64 SessionTraffic::late() const
{
    return m_late;
}

qint64 SessionTraffic::wrong() const
{
    return m_wrong;
}

qint64 SessionTraffic::medianMs() const
{
    qint64 left = ends(SessionError::Code::None) / 2;
    QList<qint64> times = m_byMs.keys();
    std::sort(times.begin(), times.end());
    for (const qint64 ms : qAsConst(times)) {
        left -= m_byMs.value(ms);
        if (left < 0)
            return ms;
    }
    return 0;
}

qint64 SessionTraffic::slowestMs() const
{
    const QList<qint64> times = m_byMs.keys();
    return times.isEmpty() ? 0 : *std::max_element(times.cbegin(), times.cend());
}
