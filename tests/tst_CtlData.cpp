#include "CtlProcess.h"
#include "ServerProcess.h"
#include "TestMain.h"

#include <QFile>
#include <QTest>

namespace {

const QStringList Read{QStringLiteral("read"), QStringLiteral("COM1"), QStringLiteral("--address"),
                       QStringLiteral("0x40")};

QString dataFile()
{
    return testFolder() + QLatin1String("/data");
}

} // namespace

/// Reading and writing with one request, with a real server.
class tst_CtlData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void writesWhatItIsGiven_data();
    void writesWhatItIsGiven();
    void writesAFile();
    void writesToThePlaceItIsTold();
    void confirmsInJson();
    void saysWhatTheDeviceRefuses_data();
    void saysWhatTheDeviceRefuses();

private:
    ServerProcess m_server;
    CtlProcess m_ctl;
};

void tst_CtlData::init()
{
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start());
    QVERIFY(m_ctl.run({QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--text"),
                       QStringLiteral("Hello, equipment!"), QStringLiteral("--address"),
                       QStringLiteral("0x40"), QStringLiteral("--verify")}));
    QCOMPARE(m_ctl.output(),
             QByteArray("Wrote 17 bytes to COM1 at 0x00000040 and read them back.\n"));
    QCOMPARE(m_ctl.errors(), QString());
    QCOMPARE(m_ctl.exitCode(), 0);
}

void tst_CtlData::writesWhatItIsGiven_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("hex") << QStringList{QStringLiteral("--hex"), QStringLiteral("01 02:ff")}
                         << QByteArray() << QByteArray("00000040  01 02 ff 6c 6f 2c 20 65 ");
    QTest::newRow("text") << QStringList{QStringLiteral("--text"), QStringLiteral("[a]")}
                          << QByteArray() << QByteArray("00000040  5b 61 5d 6c 6f 2c 20 65 ");
    QTest::newRow("text behind an equals sign")
        << QStringList{QStringLiteral("--text=--x")} << QByteArray()
        << QByteArray("00000040  2d 2d 78 6c 6f 2c 20 65 ");
    QTest::newRow("no text") << QStringList{QStringLiteral("--text=")} << QByteArray("unread")
                             << QByteArray("00000040  48 65 6c 6c 6f 2c 20 65 ");
    QTest::newRow("text with no end of Latin-1")
        << QStringList{QStringLiteral("--text"), QString::fromUtf8("\u00e9")} << QByteArray()
        << QByteArray("00000040  c3 a9 6c 6c 6f 2c 20 65 ");
    QTest::newRow("standard input") << QStringList() << QByteArray("\0in\n", 4)
                                    << QByteArray("00000040  00 69 6e 0a 6f 2c 20 65 ");
}

void tst_CtlData::writesWhatItIsGiven()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, line);
    QVERIFY(m_ctl.run(QStringList{QStringLiteral("write"), QStringLiteral("COM1"),
                                  QStringLiteral("--address"), QStringLiteral("64")}
                          + options,
                      input));
    QVERIFY2(m_ctl.exitCode() == 0, qPrintable(m_ctl.errors()));
    QVERIFY(m_ctl.run(Read));
    QVERIFY2(m_ctl.output().startsWith(line), m_ctl.output().constData());
}

void tst_CtlData::writesAFile()
{
    QFile file(dataFile());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("from a file");
    file.close();
    QVERIFY(m_ctl.run(
        {QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--file"), dataFile()}));
    QCOMPARE(m_ctl.output(), QByteArray("Wrote 11 bytes to COM1 at 0x00000000.\n"));
    QVERIFY(m_ctl.run({QStringLiteral("read"), QStringLiteral("COM1"), QStringLiteral("--length"),
                       QStringLiteral("11"), QStringLiteral("--format"), QStringLiteral("raw")}));
    QCOMPARE(m_ctl.output(), QByteArray("from a file"));
}

void tst_CtlData::writesToThePlaceItIsTold()
{
    const QString config = testFolder() + QLatin1String("/equipment.json");
    QFile file(config);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        R"({"equipment": [{"key": "A", "kind": "controller", "ports": 2, "scanBoards": 3}]})");
    file.close();
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
    QVERIFY(m_server.start({QStringLiteral("--config"), config}));
    const QStringList place{QStringLiteral("A"), QStringLiteral("--port"),
                            QStringLiteral("1"), QStringLiteral("--board"),
                            QStringLiteral("2"), QStringLiteral("--device-type"),
                            QStringLiteral("-5")};
    QVERIFY(m_ctl.run(QStringList{QStringLiteral("write")} + place, "there"));
    QCOMPARE(m_ctl.exitCode(), 0);
    QVERIFY(m_ctl.run(QStringList{QStringLiteral("read")} + place));
    QVERIFY(m_ctl.output().contains("|there..........."));
    QVERIFY(m_ctl.run({QStringLiteral("read"), QStringLiteral("A")}));
    QVERIFY(m_ctl.output().contains("|................|"));
}

void tst_CtlData::confirmsInJson()
{
    QVERIFY(m_ctl.run({QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--json"),
                       QStringLiteral("--verify")},
                      "abc"));
    QCOMPARE(m_ctl.output(),
             QByteArray("{\"address\":0,\"key\":\"COM1\",\"length\":3,\"verified\":true}\n"));
}

void tst_CtlData::saysWhatTheDeviceRefuses_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("an address it does not have")
        << QStringList{QStringLiteral("read"), QStringLiteral("COM1"),
                       QStringLiteral("--address=0x7fffffff")}
        << 6 << QStringLiteral("The equipment \"COM1\" refused the request");
    QTest::newRow("a port it does not have")
        << QStringList{QStringLiteral("write"), QStringLiteral("COM1"), QStringLiteral("--hex=00"),
                       QStringLiteral("--port=100")}
        << 6 << QStringLiteral("The equipment \"COM1\" refused the request");
    QTest::newRow("a key in other letters")
        << QStringList{QStringLiteral("read"), QStringLiteral("com1/2")} << 5
        << QStringLiteral("There is no equipment \"com1/2\" here: there are 192.168.0.20:5000, "
                          "192.168.0.20:5000/1, COM1, COM1/1, COM1/2. Did you mean \"COM1/2\"?\n");
    QTest::newRow("a board that is to be connected")
        << QStringList{QStringLiteral("connect"), QStringLiteral("COM1/1")} << 5
        << QStringLiteral("There is no equipment \"COM1/1\" here: there are 192.168.0.20:5000, "
                          "COM1. ");
}

void tst_CtlData::saysWhatTheDeviceRefuses()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QVERIFY(m_ctl.run(arguments));
    QTEST(m_ctl.exitCode(), "code");
    QVERIFY2(m_ctl.errors().startsWith(QLatin1String("ksproxyctl: ") + message),
             qPrintable(m_ctl.errors()));
    QCOMPARE(m_ctl.output(), QByteArray());
}

KSPROXY_TEST_MAIN(tst_CtlData)
#include "tst_CtlData.moc"
