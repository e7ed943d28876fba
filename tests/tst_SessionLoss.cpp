#include "LocalPeer.h"
#include "LogCapture.h"
#include "SessionFixture.h"
#include "SteeredServer.h"
#include "TestMain.h"
#include "WireBytes.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>

#include <algorithm>
#include <csignal>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

constexpr qint64 NoticeMs = 1000;

const QByteArray Confirmation = WireBytes::message(0, "COM1/1/1/x/0,1.0");

// The texts of the read requests that have arrived, the session's own for the empty key among them.
QList<QByteArray> readRequests(const LocalPeer &peer)
{
    constexpr char readData = 7;
    QList<QByteArray> texts;
    const QList<QByteArray> bodies = peer.bodies();
    for (const QByteArray &body : bodies) {
        if (body.startsWith(readData))
            texts.append(body.mid(1));
    }
    return texts;
}

int failedAttempts(const LogCapture &log)
{
    const QList<LogLine> lines = log.lines();
    return static_cast<int>(std::count_if(lines.cbegin(), lines.cend(), [](const LogLine &line) {
        return line.text.startsWith(QLatin1String("connect server error!"));
    }));
}

} // namespace

class tst_SessionLoss : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noticesAKilledServerWhileIdle();
    void noticesAServerThatSaysGoodbye();
    void noticesASilentServer();
    void countsSilenceFromTheConfirmation();
    void deliversRepliesThatCameBeforeTheLoss();
    void endsOutstandingRequests();
    void staysLostWithoutAPolicy();
    void asksLessAndLessOften();
    void comesBackAndSaysWhatChanged();
    void comesBackToAServerThatIsSlowToConfirm();
    void closesWhenTheServerRejectsItAfterwards();
    void closesWhileLost();

private:
    static QString config(const QByteArray &equipment);
};

QString tst_SessionLoss::config(const QByteArray &equipment)
{
    const QString name = testFolder() + QLatin1String("/equipment.json");
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write("{\"equipment\": [" + equipment + "]}");
    return name;
}

void tst_SessionLoss::noticesAKilledServerWhileIdle()
{
    SessionFixture f;
    SteeredServer server;
    QVERIFY(server.start());
    QVERIFY(f.session.open(SessionFixture::options()));
    QVERIFY(f.waitFor(State::Ready));
    // Its spare requests go out first, and would notice too. The server takes them for cancels (6).
    QTRY_COMPARE_WITH_TIMEOUT(server.control.call(R"({"do":"status"})")[QLatin1String("received")]
                                  .toObject()[QLatin1String("6")]
                                  .toInt(),
                              32, WaitLimitMs);
    QElapsedTimer timer;
    timer.start();
    server.process.kill();
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY2(timer.elapsed() < NoticeMs, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(f.session.lastError().code, Code::ConnectionLost);
    QCOMPARE(f.recorder.count(QStringLiteral("error ConnectionLost")), 1);
    QCOMPARE(f.session.equipmentTable().size(), 5); // as last seen
}

void tst_SessionLoss::noticesAServerThatSaysGoodbye()
{
    SessionFixture f;
    QVERIFY(f.open());
    QElapsedTimer timer;
    timer.start();
    f.server.terminate();
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY2(timer.elapsed() < NoticeMs, qPrintable(QString::number(timer.elapsed())));
}

void tst_SessionLoss::noticesASilentServer()
{
    SessionFixture f;
    SessionOptions options = SessionFixture::options();
    options.silenceLimitMs = 1200;
    QVERIFY(f.open({}, options));
    f.server.sendSignal(SIGSTOP);
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY(f.session.lastError().text.contains(QLatin1String("has not answered anything")));
    f.server.sendSignal(SIGCONT);
    QVERIFY(f.waitFor(State::Ready));
}

// A server that takes longer for the confirmation than it may be silent afterwards.
void tst_SessionLoss::countsSilenceFromTheConfirmation()
{
    LocalPeer peer;
    SessionFixture f;
    SessionOptions options = SessionFixture::options();
    options.silenceLimitMs = 800;
    QVERIFY(f.session.open(options));
    QTRY_VERIFY_WITH_TIMEOUT(readRequests(peer).size() >= 3, WaitLimitMs);
    QElapsedTimer timer;
    timer.start();
    peer.send(Confirmation);
    QVERIFY(f.waitFor(State::Ready));
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY2(timer.elapsed() >= options.silenceLimitMs,
             qPrintable(QString::number(timer.elapsed())));
}

// Several rounds: the next write, which notices the loss, and the next look at what has come race.
void tst_SessionLoss::deliversRepliesThatCameBeforeTheLoss()
{
    constexpr int rounds = 10;
    for (int round = 0; round < rounds; ++round) {
        LocalPeer peer;
        SessionFixture f;
        QVERIFY(f.session.open(SessionFixture::options()));
        QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
        peer.send(Confirmation);
        QVERIFY(f.waitFor(State::Ready));
        QList<DeviceReply *> replies;
        for (int i = 0; i < 5; ++i)
            replies.append(f.session.read({QStringLiteral("COM1"), 0}, 4));
        const auto first = [&peer] {
            const QList<QByteArray> texts = readRequests(peer);
            for (const QByteArray &text : texts) {
                if (text.contains(";serverConnectionKey=COM1;"))
                    return text;
            }
            return QByteArray();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!first().isEmpty(), WaitLimitMs);
        peer.send(WireBytes::message(11, first() + ";commResult=0;dataLength=4;data=AAAAAA=="));
        peer.disconnectPeer();
        QVERIFY(f.waitFor(State::Lost));
        QVERIFY(waitForEnd(*replies.first()));
        QVERIFY(waitForEnd(*replies.last()));
        QCOMPARE(replies.first()->error(), Code::None);
        QCOMPARE(replies.last()->error(), Code::ConnectionLost);
    }
}

void tst_SessionLoss::endsOutstandingRequests()
{
    SessionFixture f;
    QVERIFY(f.open({QStringLiteral("--latency"), QStringLiteral("60000")}));
    QList<DeviceReply *> replies;
    for (int i = 0; i < 50; ++i)
        replies.append(f.session.read({QStringLiteral("COM1"), 0}, 4));
    QTRY_VERIFY_WITH_TIMEOUT(replies.at(10)->serialNumber() != 0, WaitLimitMs);
    QCOMPARE(replies.last()->serialNumber(), 0U); // has not left
    f.server.kill();
    for (DeviceReply *const reply : qAsConst(replies)) {
        QVERIFY(waitForEnd(*reply));
        QCOMPARE(reply->error(), Code::ConnectionLost);
    }
}

void tst_SessionLoss::staysLostWithoutAPolicy()
{
    SessionFixture f;
    SessionOptions options = SessionFixture::options();
    options.reconnect = ReconnectPolicy::off();
    QVERIFY(f.open({}, options));
    f.server.kill();
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY(f.server.waitForEnd());
    QVERIFY(f.server.start());
    // A session that comes back by itself is the sign that this one would have.
    DeviceSession other;
    QVERIFY(other.open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(other.state(), State::Ready, WaitLimitMs);
    QCOMPARE(f.session.state(), State::Lost);
    f.session.close();
    QVERIFY(f.session.open(options));
    QVERIFY(f.waitFor(State::Ready));
}

void tst_SessionLoss::asksLessAndLessOften()
{
    SessionFixture f;
    SessionOptions options = SessionFixture::options();
    options.reconnect.firstDelayMs = 100;
    options.reconnect.longestDelayMs = 800;
    QVERIFY(f.open({}, options));
    f.server.kill();
    QVERIFY(f.waitFor(State::Lost));
    QElapsedTimer timer;
    timer.start();
    LogCapture log;
    QTRY_COMPARE_WITH_TIMEOUT(failedAttempts(log), 5, WaitLimitMs);
    // 100, 200, 400, 800 and 800 ms; a timer may be early by a twentieth.
    QVERIFY2(timer.elapsed() > 2150 && timer.elapsed() < 3000,
             qPrintable(QString::number(timer.elapsed())));

    QVERIFY(f.server.start());
    QVERIFY(f.waitFor(State::Ready));
    f.server.kill();
    QVERIFY(f.waitFor(State::Lost));
    timer.start();
    log.clear();
    QTRY_COMPARE_WITH_TIMEOUT(failedAttempts(log), 1, WaitLimitMs);
    QVERIFY2(timer.elapsed() < 600, qPrintable(QString::number(timer.elapsed())));
}

void tst_SessionLoss::comesBackAndSaysWhatChanged()
{
    SessionFixture f;
    const QString file = config(R"({"key": "A", "kind": "controller"},
        {"key": "B", "kind": "controller"}, {"key": "C", "kind": "controller"})");
    QVERIFY(f.open({QStringLiteral("--config"), file}));
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    QVERIFY(f.waitFor(State::Lost));
    f.recorder.clear();
    config(R"({"key": "B", "kind": "controller"}, {"key": "C", "kind": "controller", "serial": 3},
        {"key": "D", "kind": "controller"})");
    QVERIFY(f.server.start({QStringLiteral("--config"), file}));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(f.waitFor(State::Ready));
    QVERIFY2(timer.elapsed() < NoticeMs, qPrintable(QString::number(timer.elapsed())));
    QTRY_COMPARE_WITH_TIMEOUT(
        f.recorder.all(),
        QStringList({QStringLiteral("state Connecting"), QStringLiteral("state Registering"),
                     QStringLiteral("state Ready"), QStringLiteral("table +[D] -[A] *[C]")}),
        WaitLimitMs);
    const QScopedPointer<DeviceReply> reply(f.session.read({QStringLiteral("D"), 0}, 4));
    QVERIFY(waitForEnd(*reply));
    QCOMPARE(reply->error(), Code::None);
}

void tst_SessionLoss::comesBackToAServerThatIsSlowToConfirm()
{
    SessionFixture f;
    SessionOptions options = SessionFixture::options();
    QVERIFY(f.open({}, options));
    f.session.close();
    options.registrationTimeoutMs = 100;
    QVERIFY(f.session.open(options));
    QVERIFY(f.waitFor(State::Ready));
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY(f.server.start({QStringLiteral("--register"), QStringLiteral("silent")}));
    f.recorder.clear();
    QTRY_VERIFY_WITH_TIMEOUT(f.recorder.states().count(QStringLiteral("Registering")) >= 3,
                             WaitLimitMs);
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    QVERIFY(f.server.start());
    QVERIFY(f.waitFor(State::Ready));
}

void tst_SessionLoss::closesWhenTheServerRejectsItAfterwards()
{
    SessionFixture f;
    QVERIFY(f.open());
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    QVERIFY(f.waitFor(State::Lost));
    QVERIFY(f.server.start({QStringLiteral("--register"), QStringLiteral("reject")}));
    QVERIFY(f.waitFor(State::Closed));
    QCOMPARE(f.session.lastError().code, Code::RegistrationRejected);
}

void tst_SessionLoss::closesWhileLost()
{
    SessionFixture f;
    QVERIFY(f.open());
    f.server.kill();
    QVERIFY(f.server.waitForEnd());
    QVERIFY(f.waitFor(State::Lost));
    f.session.close();
    QVERIFY(f.waitFor(State::Closed));
    QVERIFY(f.open());
}

KSPROXY_TEST_MAIN(tst_SessionLoss)
#include "tst_SessionLoss.moc"
