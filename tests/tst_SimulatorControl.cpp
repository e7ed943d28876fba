#include "RawClient.h"
#include "RequestText.h"
#include "SteeredServer.h"
#include "TestMain.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QLocalServer>
#include <QRandomGenerator>
#include <QTest>

namespace {

QString errorOf(const QJsonObject &answer)
{
    return answer.value(QLatin1String("error")).toString();
}

QString socketPath(const QString &name)
{
    return testFolder() + QLatin1Char('/') + name;
}

} // namespace

class tst_SimulatorControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void saysWhereItIsSteered();
    void listensForThisUserOnly();
    void takesAnAbsolutePathAsItIs();
    void refusesToDisplaceALivingChannel();
    void refusesToDisplaceAChannelWithoutALock();
    void refusesTheServersOwnSocket();
    void removesItsSocketsAtTheEnd();

    void answersBadLinesAndServesTheNext_data();
    void answersBadLinesAndServesTheNext();
    void answersEachLineInOrder();
    void passesOverALineThatIsTooLong();
    void takesALineInPieces();
    void survivesRandomLines();
    void stopsReadingWhoDoesNotRead();
    void servesSeveralSteersmen();
    void doesNotTakeASteersmanForAClient();

    void tellsItsStatus();
    void listsTheEquipment();
    void hasEquipmentDisappearAndAppear();
    void bringsBackTheBoardsThatWentWithTheirController();
    void connectsAndDisconnectsEquipment();
    void refusesWhatIsNotThere_data();
    void refusesWhatIsNotThere();
    void broadcastsATypedReply_data();
    void broadcastsATypedReply();
    void sendsAHeartbeat();
    void notifiesRegisteredClients();
    void sendsRawBytes();
    void setsALatency();
    void setsAJitterOnTopOfTheLatency();
    void answersWithAResult_data();
    void answersWithAResult();
    void readsAndWritesMemory();
    void dropsAClient();
    void stallsAndReleasesOneClient();
    void stallsAndReleasesEveryone();
    void answersRegistrationsFromThenOn();
    void exitsWithAGoodbye();
    void exitsWithoutAGoodbye();

private:
    bool tell(const QByteArray &json);
    QJsonObject call(const QByteArray &json);
    /// Whether an answer to a further message comes: what is missing then will not come any more.
    static bool isServed(RawClient *client);
    QByteArray resultOf(int serial);

    QScopedPointer<SteeredServer> m_server;
    QScopedPointer<RawClient> m_client;
};

void tst_SimulatorControl::init()
{
    m_server.reset(new SteeredServer);
    m_client.reset(new RawClient);
    // No heartbeat comes between what a test looks at.
    const QString scenario
        = SteeredServer::written(QStringLiteral("quiet.json"), R"({"heartbeat":0})");
    QVERIFY2(m_server->start({QStringLiteral("--scenario"), scenario}),
             qPrintable(m_server->process.errors()));
    QVERIFY(m_client->registerAtServer());
    m_client->clear();
}

void tst_SimulatorControl::cleanup()
{
    m_client.reset();
    if (m_server->process.isRunning())
        QVERIFY2(m_server->end(), qPrintable(m_server->process.errors()));
    m_server.reset();
}

bool tst_SimulatorControl::tell(const QByteArray &json)
{
    return m_server->control.tell(json);
}

QJsonObject tst_SimulatorControl::call(const QByteArray &json)
{
    return m_server->control.call(json);
}

bool tst_SimulatorControl::isServed(RawClient *client)
{
    const int before = client->count(18);
    client->send(14, "identify");
    return QTest::qWaitFor([&] { return client->count(18) > before; }, WaitLimitMs);
}

QByteArray tst_SimulatorControl::resultOf(int serial)
{
    const int before = m_client->count(11);
    m_client->send(7, readText(QByteArray::number(serial), "COM1", 0, 1));
    if (!QTest::qWaitFor([&] { return m_client->count(11) > before; }, WaitLimitMs))
        return {};
    return fieldsOf(m_client->texts(11).last()).value("commResult");
}

void tst_SimulatorControl::saysWhereItIsSteered()
{
    QCOMPARE(
        m_server->process.output(),
        QStringLiteral("listening %1\ncontrol %2\n")
            .arg(socketPath(QStringLiteral("tarnSver")), socketPath(QStringLiteral("control"))));
}

void tst_SimulatorControl::listensForThisUserOnly()
{
    const QFile::Permissions permissions
        = QFileInfo(socketPath(QStringLiteral("control"))).permissions();
    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup
        | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(permissions & others, QFile::Permissions());
    QVERIFY(permissions & QFile::WriteOwner);
}

void tst_SimulatorControl::takesAnAbsolutePathAsItIs()
{
    QVERIFY(m_server->end());
    QVERIFY(QDir().mkpath(socketPath(QStringLiteral("elsewhere"))));
    const QString path = socketPath(QStringLiteral("elsewhere/steer"));
    ServerProcess server;
    QVERIFY2(server.start({QStringLiteral("--control"), path}), qPrintable(server.errors()));
    ControlClient control;
    QVERIFY(control.connectToServer(path));
    QVERIFY(control.tell(R"({"do":"status"})"));
}

void tst_SimulatorControl::refusesToDisplaceALivingChannel()
{
    const QByteArray previous = qgetenv("TMPDIR");
    const QString folder = socketPath(QStringLiteral("other"));
    QVERIFY(QDir().mkpath(folder));
    ServerProcess second;
    qputenv("TMPDIR", folder.toLocal8Bit());
    const bool isStarted
        = second.start({QStringLiteral("--control"),
                        QString::fromLocal8Bit(previous) + QLatin1String("/control")});
    qputenv("TMPDIR", previous);
    QVERIFY(!isStarted);
    QVERIFY(second.waitForEnd());
    QCOMPARE(second.exitCode(), 3);
    QVERIFY2(second.errors().contains(QStringLiteral("process %1").arg(m_server->process.pid())),
             qPrintable(second.errors()));
    QCOMPARE(second.output(), QString());
    QVERIFY(!QFile::exists(folder + QLatin1String("/tarnSver")));
    QVERIFY(tell(R"({"do":"status"})"));
}

void tst_SimulatorControl::refusesToDisplaceAChannelWithoutALock()
{
    QVERIFY(m_server->end());
    QLocalServer foreign;
    QVERIFY(foreign.listen(QStringLiteral("control")));
    ServerProcess server;
    QVERIFY(!server.start({QStringLiteral("--control"), QStringLiteral("control")}));
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 3);
    QVERIFY2(server.errors().contains(
                 QStringLiteral("process %1").arg(QCoreApplication::applicationPid())),
             qPrintable(server.errors()));
}

void tst_SimulatorControl::refusesTheServersOwnSocket()
{
    QVERIFY(m_server->end());
    ServerProcess server;
    QVERIFY(!server.start({QStringLiteral("--control"), QStringLiteral("tarnSver")}));
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 3);
    QCOMPARE(server.output(), QString());
    QVERIFY(server.errors().contains(socketPath(QStringLiteral("tarnSver"))));
}

void tst_SimulatorControl::removesItsSocketsAtTheEnd()
{
    QVERIFY(QFile::exists(socketPath(QStringLiteral("control.lock"))));
    QVERIFY(m_server->end());
    for (const char *name : {"tarnSver", "tarnSver.lock", "control", "control.lock"})
        QVERIFY2(!QFile::exists(socketPath(QLatin1String(name))), name);
}

void tst_SimulatorControl::answersBadLinesAndServesTheNext_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const QByteArray &line, const char *error) {
        QTest::newRow(name) << line << QString::fromLatin1(error);
    };
    row("empty", "", "line 1, column 1: ");
    row("not JSON", "hello", "line 1, column ");
    row("ends early", R"({"do":"status")", "line 1, column ");
    row("a list", "[]", "line 1: an object is expected");
    row("bytes that are not text", QByteArray("\0\xFF\x80", 3), "line 1, column ");
    row("no command", "{}", "do: \"appear\", \"broadcast\", ");
    row("unknown command", R"({"do":"dance"})", "do: \"appear\", \"broadcast\", ");
    row("command of another kind", R"({"do":1})", "do: \"appear\"");
    row("unknown name", R"({"do":"status","more":1})", "more: not known; known are do");
    row("unknown equipment", R"({"do":"appear","key":"COM9"})",
        "key: there is no equipment \"COM9\"");
    row("no equipment", R"({"do":"connect"})", "key: there is no equipment \"\"");
    row("number as text", R"({"do":"stall","ms":"1"})",
        "ms: a whole number from 0 to 3600000 is expected");
    row("bad digits", R"({"do":"send","hex":"0G"})", "hex: pairs of hexadecimal digits");
    row("half a byte", R"({"do":"send","hex":"123"})", "hex: pairs of hexadecimal digits");
    row("nothing to send", R"({"do":"send"})", "hex: is required");
    row("no identifier", R"({"do":"notify"})", "id: is required");
    row("identifier too large", R"({"do":"notify","id":256})", "id: a whole number from 0 to 255");
    row("text beyond Latin-1", R"({"do":"notify","id":5,"text":"\u4e2d"})", "text: only Latin-1");
    row("no such type", R"({"do":"broadcast","type":17})", "type: 17 is no kind of reply");
    row("type too small", R"({"do":"broadcast","type":10})", "type: a whole number from 11 to 18");
    row("unknown result", R"({"do":"result","key":"COM1","result":"bad"})",
        "result: a whole number from -2147483648 to 2147483647, \"success\", ");
    row("unknown fault", R"({"do":"fault","fault":"fire"})", "fault: \"delay\", \"jitter\", ");
    row("parameter of another fault", R"({"do":"fault","fault":"drop","ms":1})",
        "ms: not known; known are do, fault, count, ");
    row("parameter out of range", R"({"do":"fault","fault":"repeat","copies":1})",
        "copies: a whole number from 2 to 100");
    row("bad count", R"({"do":"fault","fault":"drop","count":"often"})",
        "count: a whole number from 0 to 1000000, \"always\" is expected");
    row("unknown messages", R"({"do":"fault","fault":"drop","messages":"some"})",
        "messages: \"replies\", \"notifications\", \"broadcasts\" or \"all\"");
    row("two kinds of filter", R"({"do":"fault","fault":"drop","messages":"all","ids":[1]})",
        "ids: cannot stand beside \"messages\"");
    row("bad identifier in a list", R"({"do":"fault","fault":"drop","ids":[11,-1]})",
        "ids[1]: a whole number from 0 to 255");
    row("filter of registrations", R"({"do":"fault","fault":"register","key":"COM1"})",
        "key: not known");
    row("unknown answer", R"({"do":"register","answer":"maybe"})",
        "answer: \"accept\", \"reject\", \"error\" or \"silent\" is required");
    row("no client", R"({"do":"drop"})", "client: is required");
    row("exit code with a goodbye", R"({"do":"exit","code":3})", "code: only without a goodbye");
    row("flag of another kind", R"({"do":"exit","goodbye":1})", "goodbye: true or false");
}

void tst_SimulatorControl::answersBadLinesAndServesTheNext()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, error);
    m_server->control.sendBytes(line + "\n{\"do\":\"status\"}\n");
    const QJsonObject answer = m_server->control.nextAnswer();
    QCOMPARE(answer.value(QLatin1String("ok")), QJsonValue(false));
    QVERIFY2(errorOf(answer).startsWith(error), qPrintable(errorOf(answer)));
    const QJsonObject next = m_server->control.nextAnswer();
    QCOMPARE(next.value(QLatin1String("ok")), QJsonValue(true));
    QCOMPARE(next.value(QLatin1String("clients")).toArray().size(), 1);
}

void tst_SimulatorControl::answersEachLineInOrder()
{
    QByteArray lines;
    for (int i = 0; i < 200; ++i)
        lines += R"({"do":"fault","fault":"drop","key":"nobody"})"
                 "\r\n";
    m_server->control.sendBytes(lines);
    for (int i = 1; i <= 200; ++i)
        QCOMPARE(m_server->control.nextAnswer().value(QLatin1String("number")).toInt(), i);
}

void tst_SimulatorControl::passesOverALineThatIsTooLong()
{
    m_server->control.sendBytes(QByteArray(3 * 1024 * 1024, 'x'));
    // Before its end, which may never come.
    const QString error = errorOf(m_server->control.nextAnswer());
    QCOMPARE(error, QStringLiteral("a line is longer than 1048576 bytes"));
    m_server->control.sendBytes("x\n{\"do\":\"status\"}\n");
    QCOMPARE(m_server->control.nextAnswer().value(QLatin1String("ok")), QJsonValue(true));
    m_server->control.sendBytes(QByteArray(1024 * 1024 + 1, 'y') + "\n{\"do\":\"faults\"}\n");
    QCOMPARE(errorOf(m_server->control.nextAnswer()), error);
    QVERIFY(m_server->control.nextAnswer().contains(QLatin1String("faults")));
    m_server->control.sendBytes(R"({"do":"status"})" + QByteArray(1024 * 1024 - 15, ' ') + '\n');
    QCOMPARE(m_server->control.nextAnswer().value(QLatin1String("ok")), QJsonValue(true));
}

void tst_SimulatorControl::takesALineInPieces()
{
    for (const char byte : QByteArray(R"({"do":"heartbeat"})"
                                      "\n")) {
        m_server->control.sendBytes(QByteArray(1, byte));
        QVERIFY(isServed(m_client.data())); // so each piece arrives by itself
    }
    QCOMPARE(m_server->control.nextAnswer().value(QLatin1String("ok")), QJsonValue(true));
    QCOMPARE(m_client->count(4), 1);
}

void tst_SimulatorControl::survivesRandomLines()
{
    const quint32 seed = QRandomGenerator::system()->generate();
    qInfo("seed %u", seed);
    QRandomGenerator random(seed);
    const QByteArray good = R"({"do":"fault","fault":"length","difference":-3,"ids":[11,14]})";
    for (int round = 0; round < 2000; ++round) {
        QByteArray line = good;
        for (int i = random.bounded(1, 5); i > 0; --i)
            line[random.bounded(line.size())] = static_cast<char>(random.bounded(256));
        m_server->control.sendBytes(line.replace('\n', ' ') + '\n');
        QVERIFY(m_server->control.nextAnswer().contains(QLatin1String("ok")));
    }
    QVERIFY(tell(R"({"do":"clear"})"));
    QVERIFY(isServed(m_client.data()));
}

void tst_SimulatorControl::stopsReadingWhoDoesNotRead()
{
    ControlClient deaf;
    QVERIFY(deaf.connectToServer(QStringLiteral("control")));
    deaf.socket().setReadBufferSize(1);
    const auto carriedOut = [this] {
        return call(R"({"do":"faults"})").value(QLatin1String("faults")).toArray().size();
    };
    constexpr int count = 400; // of answers of 128 KiB
    for (int i = 0; i < count; ++i)
        deaf.sendBytes(R"({"do":"read","key":"COM1","length":65536})"
                       "\n"
                       R"({"do":"fault","fault":"drop","key":"nobody"})"
                       "\n");
    QTRY_VERIFY_WITH_TIMEOUT(carriedOut() > 0, WaitLimitMs);
    QVERIFY(isServed(m_client.data()));
    QVERIFY(carriedOut() < 100);
    deaf.socket().setReadBufferSize(0);
    for (int i = 0; i < 2 * count; ++i)
        QCOMPARE(deaf.nextAnswer().value(QLatin1String("ok")), QJsonValue(true));
    QCOMPARE(carriedOut(), count);
}

void tst_SimulatorControl::servesSeveralSteersmen()
{
    ControlClient other;
    QVERIFY(other.connectToServer(QStringLiteral("control")));
    QVERIFY(other.tell(R"({"do":"fault","fault":"drop"})"));
    QCOMPARE(call(R"({"do":"faults"})").value(QLatin1String("faults")).toArray().size(), 1);
    other.socket().abort();
    QVERIFY(tell(R"({"do":"status"})"));
}

void tst_SimulatorControl::doesNotTakeASteersmanForAClient()
{
    QVERIFY(m_server->end());
    ServerProcess server;
    QVERIFY(server.start({QStringLiteral("--control"), QStringLiteral("control"),
                          QStringLiteral("--exit-when-idle"), QStringLiteral("1")}));
    ControlClient control;
    QVERIFY(control.connectToServer(QStringLiteral("control")));
    QVERIFY(server.waitForEnd());
    QCOMPARE(server.exitCode(), 0);
}

void tst_SimulatorControl::tellsItsStatus()
{
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(isServed(&unregistered));
    m_client->send(19, "False");
    m_client->send(7, readText("1", "COM1", 0, 1));
    QVERIFY(isServed(m_client.data()));
    const QJsonObject status = call(R"({"do":"status"})");
    QCOMPARE(status.value(QLatin1String("version")).toString(), QStringLiteral(KSPROXY_VERSION));
    QCOMPARE(status.value(QLatin1String("automaticConnection")), QJsonValue(false));
    QCOMPARE(status.value(QLatin1String("clients")).toArray(),
             (QJsonArray{QJsonObject{{QStringLiteral("client"), 1},
                                     {QStringLiteral("registered"), true},
                                     {QStringLiteral("stalled"), false},
                                     {QStringLiteral("received"), 4},
                                     {QStringLiteral("sent"), 4}},
                         QJsonObject{{QStringLiteral("client"), 2},
                                     {QStringLiteral("registered"), false},
                                     {QStringLiteral("stalled"), false},
                                     {QStringLiteral("received"), 1},
                                     {QStringLiteral("sent"), 2}}}));
    const QJsonObject received{{QStringLiteral("0"), 1},
                               {QStringLiteral("7"), 1},
                               {QStringLiteral("14"), 2},
                               {QStringLiteral("19"), 1}};
    QCOMPARE(status.value(QLatin1String("received")).toObject(), received);
    QCOMPARE(status.value(QLatin1String("sent")).toObject(),
             (QJsonObject{
                 {QStringLiteral("0"), 1}, {QStringLiteral("11"), 1}, {QStringLiteral("18"), 4}}));
    // What a client sent still counts when it has gone.
    unregistered.socket().abort();
    QTRY_COMPARE_WITH_TIMEOUT(
        call(R"({"do":"status"})").value(QLatin1String("clients")).toArray().size(), 1,
        WaitLimitMs);
    QCOMPARE(call(R"({"do":"status"})").value(QLatin1String("received")).toObject(), received);
}

void tst_SimulatorControl::listsTheEquipment()
{
    QVERIFY(tell(R"({"do":"latency","key":"COM1/2","ms":30,"jitter":5})"));
    QVERIFY(tell(R"({"do":"result","key":"COM1/2","result":"rejected"})"));
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/1"})"));
    const QJsonArray list
        = call(R"({"do":"equipment"})").value(QLatin1String("equipment")).toArray();
    QCOMPARE(list.size(), 5);
    QCOMPARE(list.at(1).toObject().value(QLatin1String("there")), QJsonValue(false));
    QCOMPARE(list.at(2).toObject(),
             (QJsonObject{{QStringLiteral("key"), QStringLiteral("COM1/2")},
                          {QStringLiteral("there"), true},
                          {QStringLiteral("connected"), false},
                          {QStringLiteral("latency"), 30},
                          {QStringLiteral("jitter"), 5},
                          {QStringLiteral("result"), 2}}));
}

void tst_SimulatorControl::hasEquipmentDisappearAndAppear()
{
    QVERIFY(tell(R"({"do":"write","key":"COM1/1","hex":"2A"})"));
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{9}, WaitLimitMs);
    QVERIFY(!m_client->texts(9).constFirst().contains("COM1#*#1/"));
    QVERIFY(m_client->texts(9).constFirst().contains("COM1#*#2/"));
    m_client->send(7, readText("1", "COM1/1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 1, WaitLimitMs);
    QVERIFY(m_client->texts(11).constFirst().contains("commResult=3;"));
    QVERIFY(tell(R"({"do":"appear","key":"COM1/1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(9), 2, WaitLimitMs);
    QVERIFY(m_client->texts(9).last().contains("COM1#*#1/2/2001/Scan board 1/1"));
    m_client->send(7, readText("2", "COM1/1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 2, WaitLimitMs);
    QVERIFY(m_client->texts(11).last().contains("data=Kg==")); // its memory stays
}

void tst_SimulatorControl::bringsBackTheBoardsThatWentWithTheirController()
{
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/2"})"));
    QVERIFY(tell(R"({"do":"disappear","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{9, 9}), WaitLimitMs);
    QVERIFY(!m_client->texts(9).last().contains("COM1"));
    QVERIFY(tell(R"({"do":"appear","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{9, 9, 5, 9}), WaitLimitMs);
    QCOMPARE(m_client->texts(5), QList<QByteArray>{"COM1"});
    QVERIFY(m_client->texts(9).last().startsWith(
        "COM1/1/1001/Controller at a serial port/1,COM1#*#1/2/2001/Scan board 1/1,192."));
}

void tst_SimulatorControl::connectsAndDisconnectsEquipment()
{
    QVERIFY(tell(R"({"do":"connect","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9}), WaitLimitMs);
    QVERIFY(m_client->texts(9).last().contains("Scan board 2/1,"));
    QVERIFY(tell(R"({"do":"disconnect","key":"COM1/2"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{5, 9, 9}), WaitLimitMs);
    QVERIFY(m_client->texts(9).last().contains("Scan board 1/1,"));
    QVERIFY(m_client->texts(9).last().contains("Scan board 2/0,"));
    QVERIFY(tell(R"({"do":"disconnect","key":"COM1"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(9), 3, WaitLimitMs);
    QVERIFY(!m_client->texts(9).last().contains("/1,COM1"));
}

void tst_SimulatorControl::refusesWhatIsNotThere_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *command, const char *error) {
        QTest::newRow(name) << QByteArray(command) << QString::fromLatin1(error);
    };
    row("disappear again", R"({"do":"disappear","key":"COM1/1"})", "COM1/1 is not there");
    row("connect", R"({"do":"connect","key":"COM1/1"})", "COM1/1 is not there");
    row("disconnect", R"({"do":"disconnect","key":"COM1/1"})", "COM1/1 is not there");
    row("appear what is there", R"({"do":"appear","key":"COM1"})", "COM1 is there already");
    row("client", R"({"do":"drop","client":77})", "there is no client 77");
    row("stall", R"({"do":"stall","client":77})", "there is no client 77");
    row("release", R"({"do":"release","client":77})", "there is no client 77");
    row("send", R"({"do":"send","hex":"00","client":77})", "there is no client 77");
    row("notify", R"({"do":"notify","id":4,"client":77})", "there is no client 77");
    row("fault", R"({"do":"clear","number":77})", "there is no fault 77");
    row("read", R"({"do":"read","key":"COM1","address":65536})", "COM1 has no such memory");
    row("write", R"({"do":"write","key":"COM1","port":2,"hex":"00"})", "COM1 has no such memory");
}

void tst_SimulatorControl::refusesWhatIsNotThere()
{
    QFETCH(QByteArray, command);
    QFETCH(QString, error);
    QVERIFY(tell(R"({"do":"disappear","key":"COM1/1"})"));
    const QJsonObject answer = call(command);
    QCOMPARE(answer.value(QLatin1String("ok")), QJsonValue(false));
    QCOMPARE(errorOf(answer), error);
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->ids(), (QList<int>{9, 18}));
}

void tst_SimulatorControl::broadcastsATypedReply_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("codes");
    QTest::newRow("read data") << 11 << QByteArray("readWriteCode=0;clientPackageType=0;");
    QTest::newRow("read file") << 12 << QByteArray("readWriteCode=0;clientPackageType=1;");
    QTest::newRow("read memory") << 13 << QByteArray("readWriteCode=0;clientPackageType=2;");
    QTest::newRow("write data") << 14 << QByteArray("readWriteCode=1;clientPackageType=0;");
    QTest::newRow("write file") << 15 << QByteArray("readWriteCode=1;clientPackageType=1;");
    QTest::newRow("write memory") << 16 << QByteArray("readWriteCode=1;clientPackageType=2;");
    QTest::newRow("plain") << 18 << QByteArray("readWriteCode=-1;clientPackageType=0;");
}

void tst_SimulatorControl::broadcastsATypedReply()
{
    QFETCH(int, type);
    QFETCH(QByteArray, codes);
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(tell(R"({"do":"broadcast","type":)" + QByteArray::number(type)
                 + R"(,"key":"COM1/1","port":1,"scanBoard":3,"address":65538,"tag":"t","result":2,)"
                   R"("hex":"48 65 6c 6C 6f"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{18}, WaitLimitMs);
    const QByteArray text = m_client->texts(18).constFirst();
    QVERIFY(text.endsWith(',' + QByteArray::number(type)));
    QVERIFY2(text.contains(codes), text.constData());
    const auto fields = fieldsOf(text.left(text.lastIndexOf(',')));
    QCOMPARE(fields.value("serverConnectionKey"), QByteArray("COM1%2F1"));
    QCOMPARE(fields.value("portAddr"), QByteArray("1"));
    QCOMPARE(fields.value("scanBoardAddr"), QByteArray("3"));
    QCOMPARE(fields.value("highAddr"), QByteArray("1"));
    QCOMPARE(fields.value("lowAddr"), QByteArray("2"));
    QCOMPARE(fields.value("tag"), QByteArray("t"));
    QCOMPARE(fields.value("commResult"), QByteArray("2"));
    QCOMPARE(fields.value("data"), QByteArray("Hello").toBase64());
    QVERIFY(isServed(&unregistered));
    QCOMPARE(unregistered.ids(), QList<int>{18}); // only the answer to what it asked for
}

void tst_SimulatorControl::sendsAHeartbeat()
{
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(isServed(&unregistered));
    QVERIFY(tell(R"({"do":"heartbeat"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(4), 1, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(unregistered.count(4), 1, WaitLimitMs);
}

void tst_SimulatorControl::notifiesRegisteredClients()
{
    RawClient unregistered;
    QVERIFY(unregistered.connectToServer());
    QVERIFY(isServed(&unregistered));
    QVERIFY(tell(R"({"do":"notify","id":200,"text":"\u00e4"})"));
    QVERIFY(tell(R"({"do":"notify","id":22,"client":2})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->texts(200), QList<QByteArray>{"\xE4"}, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(unregistered.count(22), 1, WaitLimitMs);
    QVERIFY(isServed(m_client.data()));
    QCOMPARE(m_client->count(22), 0);
    QCOMPARE(unregistered.count(200), 0);
}

void tst_SimulatorControl::sendsRawBytes()
{
    RawClient other;
    QVERIFY(other.connectToServer());
    QVERIFY(isServed(&other));
    const int before = other.receivedBytes();
    m_client->clear();
    QVERIFY(tell(R"({"do":"send","hex":"01 02 fF"})"));
    QVERIFY(tell(R"({"do":"send","hex":"00","client":2})"));
    QTRY_COMPARE_WITH_TIMEOUT(other.received().mid(before), QByteArray("\x01\x02\xFF\0", 4),
                              WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->received(), QByteArray("\x01\x02\xFF"), WaitLimitMs);
}

void tst_SimulatorControl::setsALatency()
{
    QVERIFY(tell(R"({"do":"latency","key":"COM1","ms":300})"));
    QElapsedTimer timer;
    timer.start();
    m_client->send(7, readText("1", "COM1", 0, 1));
    m_client->send(7, readText("2", "COM1", 0, 1));
    m_client->send(7, readText("3", "COM1/1", 0, 1));
    // Other equipment does not wait for it.
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 3, WaitLimitMs);
    QVERIFY(timer.elapsed() >= 300);
    QVERIFY(m_client->texts(11).at(0).startsWith("serialNum=3;"));
    QVERIFY(m_client->texts(11).at(1).startsWith("serialNum=1;"));
    QVERIFY(m_client->texts(11).at(2).startsWith("serialNum=2;"));
}

void tst_SimulatorControl::setsAJitterOnTopOfTheLatency()
{
    QVERIFY(tell(R"({"do":"latency","key":"COM1","ms":50,"jitter":40})"));
    QElapsedTimer timer;
    timer.start();
    for (int serial = 1; serial <= 30; ++serial)
        m_client->send(7, readText(QByteArray::number(serial), "COM1", 0, 1));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(11), 30, WaitLimitMs);
    // The seed is fixed, and the largest of these jitters is far over 10 ms.
    QVERIFY(timer.elapsed() >= 60);
    const QList<QByteArray> replies = m_client->texts(11);
    for (int i = 0; i < replies.size(); ++i) // still in order
        QVERIFY(replies.at(i).startsWith("serialNum=" + QByteArray::number(i + 1) + ';'));
}

void tst_SimulatorControl::answersWithAResult_data()
{
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<QByteArray>("answered");
    QTest::newRow("rejected") << QByteArray(R"("rejected")") << QByteArray("2");
    QTest::newRow("time-out") << QByteArray(R"("timedOut")") << QByteArray("1");
    QTest::newRow("unknown to the library") << QByteArray("-77") << QByteArray("-77");
}

void tst_SimulatorControl::answersWithAResult()
{
    QFETCH(QByteArray, result);
    QFETCH(QByteArray, answered);
    const QByteArray command = R"({"do":"result","key":"COM1","result":)" + result;
    QVERIFY(tell(command + R"(,"count":2})"));
    QCOMPARE(resultOf(1), answered);
    m_client->send(10, writeText("2", "COM1", 0, "x"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(14), 1, WaitLimitMs);
    QCOMPARE(fieldsOf(m_client->texts(14).constFirst()).value("commResult"), answered);
    QCOMPARE(resultOf(3), QByteArray("0"));
    QVERIFY(m_client->texts(11).last().contains("data=AA==")); // nothing was written
    QVERIFY(tell(command + '}'));
    for (int serial = 4; serial <= 9; ++serial)
        QCOMPARE(resultOf(serial), answered);
    QVERIFY(tell(R"({"do":"result","key":"COM1","result":"success"})"));
    QCOMPARE(resultOf(10), QByteArray("0"));
}

void tst_SimulatorControl::readsAndWritesMemory()
{
    QVERIFY(tell(R"({"do":"write","key":"COM1","port":1,"scanBoard":2,"address":9,"hex":"0aFF"})"));
    QCOMPARE(call(R"({"do":"read","key":"COM1","port":1,"scanBoard":2,"address":8,"length":4})")
                 .value(QLatin1String("hex"))
                 .toString(),
             QStringLiteral("000aff00"));
    m_client->send(7, readText("1", "COM1", 9, 2, {{"portAddr", "1"}, {"scanBoardAddr", "2"}}));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{11}, WaitLimitMs);
    QVERIFY(m_client->texts(11).constFirst().contains("data=Cv8="));
}

void tst_SimulatorControl::dropsAClient()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(tell(R"({"do":"drop","client":1})"));
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QVERIFY(isServed(&other));
    QCOMPARE(m_client->receivedBytes(), 0);
}

void tst_SimulatorControl::stallsAndReleasesOneClient()
{
    RawClient other;
    QVERIFY(other.registerAtServer());
    QVERIFY(tell(R"({"do":"stall","client":1})"));
    m_client->send(14, "identify");
    QVERIFY(isServed(&other));
    QVERIFY(isServed(&other));
    QCOMPARE(m_client->receivedBytes(), 0);
    QVERIFY(tell(R"({"do":"release","client":1})"));
    // The two of the other client, and its own.
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(18), 3, WaitLimitMs);
}

void tst_SimulatorControl::stallsAndReleasesEveryone()
{
    QVERIFY(tell(R"({"do":"stall"})"));
    RawClient newcomer;
    QVERIFY(newcomer.connectToServer());
    newcomer.send(0);
    m_client->send(14, "identify");
    QTRY_COMPARE_WITH_TIMEOUT(
        call(R"({"do":"status"})").value(QLatin1String("clients")).toArray().size(), 2,
        WaitLimitMs);
    QCOMPARE(call(R"({"do":"status"})").value(QLatin1String("received")).toObject(),
             (QJsonObject{{QStringLiteral("0"), 1}})); // nothing is read
    QVERIFY(tell(R"({"do":"heartbeat"})")); // waits with the others
    QCOMPARE(m_client->receivedBytes(), 0);
    QCOMPARE(newcomer.receivedBytes(), 0);
    QVERIFY(tell(R"({"do":"release"})"));
    QTRY_COMPARE_WITH_TIMEOUT(newcomer.count(0), 1, WaitLimitMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->count(18), 1, WaitLimitMs);
    QCOMPARE(m_client->count(4), 1);
    RawClient later;
    QVERIFY(later.registerAtServer());
}

void tst_SimulatorControl::answersRegistrationsFromThenOn()
{
    QVERIFY(tell(R"({"do":"register","answer":"error"})"));
    m_client->send(0);
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{3, 3}), WaitLimitMs);
    QVERIFY(tell(R"({"do":"register","answer":"accept"})"));
    m_client->send(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), (QList<int>{3, 3, 0}), WaitLimitMs);
}

void tst_SimulatorControl::exitsWithAGoodbye()
{
    QVERIFY(tell(R"({"do":"exit"})"));
    QTRY_COMPARE_WITH_TIMEOUT(m_client->ids(), QList<int>{1}, WaitLimitMs);
    QVERIFY(m_server->process.waitForEnd());
    QVERIFY(!m_server->process.hasCrashed());
    QCOMPARE(m_server->process.exitCode(), 0);
}

void tst_SimulatorControl::exitsWithoutAGoodbye()
{
    QVERIFY(tell(R"({"do":"exit","goodbye":false,"code":7})"));
    QTRY_VERIFY_WITH_TIMEOUT(!m_client->isConnected(), WaitLimitMs);
    QCOMPARE(m_client->receivedBytes(), 0);
    QVERIFY(m_server->process.waitForEnd());
    QCOMPARE(m_server->process.exitCode(), 7);
}

KSPROXY_TEST_MAIN(tst_SimulatorControl)
#include "tst_SimulatorControl.moc"
