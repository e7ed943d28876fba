#include "EventWait.h"
#include "HostileServer.h"
#include "LoopWatch.h"
#include "ProcessSample.h"
#include "ProxyPeer.h"
#include "SessionPeer.h"
#include "TestMain.h"
#include "Torture.h"
#include "WireBytes.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>

namespace {

constexpr int BlockBytes = 65536;
constexpr int RequestMs = 50;

struct Form
{
    explicit Form(bool isLong)
        : floodMs(isLong ? 60000 : 200)
        , deafMs(isLong ? 60000 : 5000)
        , silenceLimitMs(isLong ? 5000 : 800)
    { }

    int floodMs;
    int deafMs; // in which a session must have noticed
    int silenceLimitMs;
};

struct Kind
{
    const char *name;
    HostileServer::Flood flood;
};

// Whole messages in turn, as many as a block holds.
HostileServer::Flood floodOf(const QList<QByteArray> &messages, qint64 bytesPerSecond = 0)
{
    HostileServer::Flood flood;
    flood.bytesPerSecond = bytesPerSecond;
    while (flood.block.size() < BlockBytes)
        flood.block += messages.at(flood.messagesPerBlock++ % messages.size());
    return flood;
}

QByteArray replyText(const QByteArray &serialNumber)
{
    return "serialNum=" + serialNumber
        + ";readWriteCode=0;clientPackageType=0;serverConnectionKey=A;deviceType=0;portAddr=0;"
          "scanBoardAddr=0;desAddr=0;scrAddr=0;highAddr=0;lowAddr=64;reserved2=0;timeout=1000;"
          "tag=;commResult=0;dataLength=4;data=AAAAAA==";
}

QByteArray table()
{
    constexpr int records = 50;
    QByteArrayList parts;
    for (int i = 0; i < records; ++i)
        parts.append("COM" + QByteArray::number(i) + "/1/1001/Press/1");
    return parts.join(',');
}

// A length that nothing can satisfy, then bytes without an end. As much as is sent is kept, so it
// is not sent as fast as it is taken.
HostileServer::Flood endless()
{
    constexpr quint32 unsatisfiable = 0x80000000;
    constexpr qint64 bytesPerSecond = 2000000;
    HostileServer::Flood flood = floodOf({QByteArray(1024, 'x')}, bytesPerSecond);
    flood.prelude = WireBytes::lengthField(unsatisfiable);
    return flood;
}

QList<Kind> floods()
{
    constexpr int reply = 11;
    constexpr int broadcast = 18;
    // A proxy keeps each reply that nobody waits for: not as fast as they are taken either.
    constexpr qint64 strangersPerSecond = 1000000;
    return {
        {"broadcasts", floodOf({WireBytes::message(broadcast, replyText("1") + ",11")})},
        {"tables", floodOf({WireBytes::message(9, table())})},
        {"notifications",
         floodOf({WireBytes::message(4), WireBytes::message(5, "COM1"), WireBytes::message(7)})},
        {"strangers",
         floodOf({WireBytes::message(reply, replyText("4000000000"))}, strangersPerSecond)},
        {"endless", endless()},
    };
}

/// Makes requests all the time while it lives.
class Requests : public QObject
{
    Q_OBJECT

public:
    explicit Requests(PeerClient *client)
    {
        connect(&m_timer, &QTimer::timeout, this, [client] { client->request(); });
        m_timer.start(RequestMs);
    }

private:
    QTimer m_timer;
};

class Peers
{
public:
    explicit Peers(Torture *torture)
        : m_torture(torture)
        , m_form(torture->isLong())
    { }

    void run(const QByteArray &who, const std::function<std::unique_ptr<PeerClient>()> &make)
    {
        const QList<Kind> kinds = floods();
        for (const Kind &kind : kinds) {
            const std::unique_ptr<PeerClient> client = make();
            survive(who + '_' + kind.name, client.get(), kind.flood);
        }
        const std::unique_ptr<PeerClient> client = make();
        talkToTheDeaf(who + "_deaf", client.get());
    }

    int silenceLimitMs() const
    {
        return m_form.silenceLimitMs;
    }

private:
    Q_DISABLE_COPY_MOVE(Peers)

    void survive(const QByteArray &name, PeerClient *client, const HostileServer::Flood &flood)
    {
        const qint64 heap = ProcessSample::take().heapBytes;
        require(m_server.startFlooding(flood, m_form.floodMs) && client->open(), name,
                "is not confirmed");
        LoopWatch watch;
        {
            const Requests requests(client);
            passInEvents(m_form.floodMs);
        }
        add(name, "hold_ms", watch.longestMs());
        if (flood.prelude.isEmpty() || client->givesUp())
            require(waitInEvents([&] { return client->ended() == client->made(); }), name,
                    "leaves requests without an end");
        const double kept = static_cast<double>(ProcessSample::take().heapBytes - heap);
        if (flood.prelude.isEmpty()) {
            add(name, "per_second",
                static_cast<double>(m_server.messages()) * 1000 / m_form.floodMs);
            add(name, "kept_bytes_each",
                kept / static_cast<double>(qMax<qint64>(1, m_server.messages())));
            add(name, "answer_worst_ms", client->answerMs().worst());
            add(name, "reads", client->made());
            add(name, "unanswered", client->made() - client->answerMs().count());
        } else {
            add(name, "kept_bytes_per_byte",
                kept / static_cast<double>(qMax<qint64>(1, m_server.bytes())));
        }
        m_server.kill();
    }

    void talkToTheDeaf(const QByteArray &name, PeerClient *client)
    {
        require(m_server.startDeaf() && client->open(), name, "is not confirmed");
        const qint64 heap = ProcessSample::take().heapBytes;
        QElapsedTimer clock;
        clock.start();
        LoopWatch watch;
        const Requests requests(client);
        const bool isLost = waitInEvents([client] { return client->hasLost(); },
                                         client->givesUp() ? m_form.deafMs : m_form.floodMs);
        add(name, "hold_ms", watch.longestMs());
        add(name, "kept_bytes_each",
            static_cast<double>(ProcessSample::take().heapBytes - heap) / qMax(1, client->made()));
        if (client->givesUp()) {
            require(isLost, name, "is not noticed");
            add(name, "noticed_ms", static_cast<double>(clock.elapsed()));
        }
        m_server.kill();
    }

    void add(const QByteArray &name, const char *figure, double value)
    {
        m_torture->add((name + '_' + figure).constData(), value);
    }

    void require(bool holds, const QByteArray &name, const char *what)
    {
        m_torture->require(holds, QString::fromLatin1(name + ' ' + what));
    }

    Torture *const m_torture;
    const Form m_form;
    HostileServer m_server;
};

} // namespace

int main(int argc, char **argv)
{
    Torture torture("peers", argc, argv);
    setTestFolder(torture.folder());
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QCoreApplication application(argc, argv);
    Peers peers(&torture);
    peers.run("session", [&] { return std::make_unique<SessionPeer>(peers.silenceLimitMs()); });
    peers.run("proxy", [] { return std::make_unique<ProxyPeer>(); });
    return torture.finish();
}

#include "peers.moc"
