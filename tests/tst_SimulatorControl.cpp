#include "SteeredTest.h"
#include "TestMain.h"
#include "Waiting.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QLocalServer>
#include <QRandomGenerator>
#include <QTest>

namespace {

QString socketPath(const QString &name)
{
    return testFolder() + QLatin1Char('/') + name;
}

} // namespace

class tst_SimulatorControl : public SteeredTest
{
    Q_OBJECT

private Q_SLOTS:
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
};

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

KSPROXY_TEST_MAIN(tst_SimulatorControl)
#include "tst_SimulatorControl.moc"
