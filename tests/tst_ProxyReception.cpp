#include "LocalPeer.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "SignalRecorder.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QMutexLocker>
#include <QTest>
#include <QThread>

namespace {

constexpr int OldIdleCount = 9;

/// Gives \a proxy a state in which every change shows.
void loadOldState(const TestProxy &proxy, bool isRegistered)
{
    TestAccess::idleCount(*proxy) = OldIdleCount;
    TestAccess::serverVersion(*proxy) = QStringLiteral("old");
    proxy->setRegisted(isRegistered);
    proxy->setEquipmentTable({{QStringLiteral("old"), EquipmentInfo()}});
}

/// All of that state in one text.
QString stateOf(const TestProxy &proxy)
{
    return QStringLiteral("registered %1, version '%2', table '%3', idle %4, queued %5")
        .arg(proxy->isRegisted())
        .arg(proxy->ServerVer(), proxy->equipmentTable().keys().join(QLatin1Char('|')))
        .arg(TestAccess::idleCount(*proxy))
        .arg(TestAccess::notifyList(*proxy).size());
}

/// A signal as SignalRecorder writes it, with the proxy as its sender.
QString raised(const TestProxy &proxy, const char *name, const QString &content)
{
    return QStringLiteral("%1(%2, %3)")
        .arg(QLatin1String(name))
        .arg(reinterpret_cast<quintptr>(&*proxy))
        .arg(content);
}

} // namespace

class tst_ProxyReception : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesItsStateByIdentifier_data();
    void changesItsStateByIdentifier();
    void raisesSignalsByIdentifier_data();
    void raisesSignalsByIdentifier();
    void splitsARegistrationAtItsLastComma_data();
    void splitsARegistrationAtItsLastComma();
    void queuesReplies_data();
    void queuesReplies();
    void wakesWhoeverWaitsForReplies();
    void splitsABody_data();
    void splitsABody();
    void ignoresAnEmptyBody();
    void receivesOverTheSocket();
    void survivesBadInputFromTheSocket();
    void takesWhatStandsBeforeTheFirstTag_data();
    void takesWhatStandsBeforeTheFirstTag();
};

void tst_ProxyReception::changesItsStateByIdentifier_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("state");
    const QString untouched
        = QStringLiteral("registered %1, version 'old', table 'old', idle 9, queued 0");
    const QString seen
        = QStringLiteral("registered %1, version 'old', table 'old', idle 0, queued 0");
    const QString reloaded
        = QStringLiteral("registered %1, version 'old', table 'k|new', idle 0, queued 0");
    const QString queued
        = QStringLiteral("registered %1, version 'old', table 'old', idle 0, queued 1");
    const QString dropped = QStringLiteral("registered 0, version '', table '', idle 0, queued 0");
    const auto row = [](const char *name, int id, bool result, const QString &state) {
        QTest::newRow(name) << id << result << state;
    };
    row("-128", -128, false, untouched);
    row("-1", -1, false, untouched);
    row("registered", 0, true,
        QStringLiteral("registered 1, version 'new/6/7/B/8', table 'k', idle 0, queued 0"));
    row("not registered", 1, true, dropped);
    row("rejected", 2, true, dropped);
    row("an error", 3, true, dropped);
    row("alive", 4, true, seen);
    row("begins with an equipment", 5, true, seen);
    row("6", 6, true, untouched);
    row("begins with all controllers", 7, true, seen);
    row("has all controllers", 8, true, reloaded);
    row("has other equipment", 9, true, reloaded);
    row("reply 10", 10, true, queued);
    row("reply 11", 11, true, queued);
    row("reply 12", 12, true, queued);
    row("reply 13", 13, true, queued);
    row("reply 14", 14, true, queued);
    row("reply 15", 15, true, queued);
    row("reply 16", 16, true, queued);
    row("reply 17", 17, true, queued);
    row("a broadcast", 18, true, queued);
    row("19", 19, false, untouched);
    row("20", 20, false, untouched);
    row("21", 21, false, untouched);
    row("22", 22, true, untouched);
    row("23", 23, false, untouched);
    row("127", 127, false, untouched);
    row("the largest", std::numeric_limits<int>::max(), false, untouched);
    row("the smallest", std::numeric_limits<int>::min(), false, untouched);
    row("256: only its low byte would be known", 256, false, untouched);
}

void tst_ProxyReception::changesItsStateByIdentifier()
{
    QFETCH(int, id);
    QFETCH(bool, result);
    QFETCH(QString, state);
    for (const bool isRegistered : {false, true}) {
        const TestProxy proxy;
        loadOldState(proxy, isRegistered);
        const LogCapture log;
        QCOMPARE(proxy->ReceivedMessage(id, QStringLiteral("k/1/2/A/5,new/6/7/B/8"), QByteArray()),
                 result);
        QCOMPARE(stateOf(proxy),
                 state.contains(QLatin1String("%1")) ? state.arg(isRegistered) : state);
        QVERIFY(log.lines().isEmpty());
        QVERIFY(!proxy->ServerVer().isNull());
        QVERIFY(TestAccess::sendList(*proxy).isEmpty());
        QCoreApplication::sendPostedEvents(&*proxy); // what is posted frees its arguments
    }
}

void tst_ProxyReception::raisesSignalsByIdentifier_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QString>("content");
    QTest::addColumn<bool>("isPosted");
    const auto row = [](int id, const char *signal, const char *content, bool isPosted) {
        QTest::addRow("%d", id) << id << QByteArray(signal) << QString::fromLatin1(content)
                                << isPosted;
    };
    row(3, "NotifyRegisterErrEvent", "3", true);
    row(5, "BeginConnectEquipment", "k/1/2/A/5,COM3", false);
    row(7, "BeginConnectAllController", "15", true);
    row(8, "CompleteConnectAllController", "15", true);
    row(9, "EquipmentChangeEvent", "15", false);
    for (const int id : {-1, 0, 1, 2, 4, 6, 10, 11, 14, 17, 18, 19, 20, 21, 22, 23})
        row(id, "", "", false);
}

void tst_ProxyReception::raisesSignalsByIdentifier()
{
    QFETCH(int, id);
    QFETCH(QByteArray, signal);
    QFETCH(QString, content);
    QFETCH(bool, isPosted);
    const TestProxy proxy;
    const SignalRecorder recorder(&*proxy);
    QStringList expected;
    if (!signal.isEmpty())
        expected << raised(proxy, signal.constData(), content);
    proxy->ReceivedMessage(id, QStringLiteral("k/1/2/A/5,COM3"), QByteArray());
    QCOMPARE(recorder.raised, isPosted ? QStringList() : expected);
    QCoreApplication::sendPostedEvents(&*proxy);
    QCOMPARE(recorder.raised, expected);
    QCOMPARE(recorder.raised.isEmpty() ? nullptr : recorder.thread,
             expected.isEmpty() ? nullptr : thread());
}

void tst_ProxyReception::splitsARegistrationAtItsLastComma_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QStringList>("keys");
    const auto row = [](const char *name, const char *text, const char *version,
                        const QStringList &keys) {
        QTest::newRow(name) << QString::fromLatin1(text) << QString::fromLatin1(version) << keys;
    };
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    row("two commas", "t,1.2,3.4", "3.4", {});
    row("no comma", "t", "", {});
    row("no comma, a record", "a/1/2/A/5", "", {a});
    row("its only comma at the end", "a/1/2/A/5,", "", {a});
    row("its only comma in front", ",3.4", "3.4", {});
    row("a comma and nothing else", ",", "", {});
    row("nothing", "", "", {});
    row("two records and a version", "a/1/2/A/5,b/1/2/B/5,3.4", "3.4", {a, b});
    row("a record in the version's place", "a/1/2/A/5,b/1/2/B/5", "b/1/2/B/5", {a});
}

void tst_ProxyReception::splitsARegistrationAtItsLastComma()
{
    QFETCH(QString, text);
    QFETCH(QString, version);
    QFETCH(QStringList, keys);
    const TestProxy proxy;
    loadOldState(proxy, false);
    QVERIFY(proxy->ReceivedMessage(TarnEnum::RegisterSuccess, text, QByteArray()));
    QVERIFY(proxy->isRegisted());
    QCOMPARE(proxy->ServerVer(), version);
    QVERIFY(!proxy->ServerVer().isNull());
    QCOMPARE(proxy->equipmentTable().keys(), keys);
}

void tst_ProxyReception::queuesReplies_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    for (int id = 10; id <= 18; ++id) {
        QTest::addRow("%d with a text", id) << id << QStringLiteral("a text") << QByteArray();
        QTest::addRow("%d with bytes", id) << id << QString() << QByteArray("some\0bytes", 10);
        QTest::addRow("%d with nothing", id) << id << QString() << QByteArray();
    }
}

void tst_ProxyReception::queuesReplies()
{
    QFETCH(int, id);
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    const TestProxy proxy;
    proxy->ReceivedMessage(TarnEnum::ReplyReserved10, QStringLiteral("first"), QByteArray());
    QVERIFY(proxy->ReceivedMessage(id, text, bytes));
    const QList<NotifyStruct *> &queue = TestAccess::notifyList(*proxy);
    QCOMPARE(queue.size(), 2);
    QCOMPARE(queue.first()->strinfo(), QStringLiteral("first"));
    QCOMPARE(static_cast<int>(queue.last()->notify()), id);
    QCOMPARE(queue.last()->strinfo(), text);
    QCOMPARE(queue.last()->getByteArrayInfo(), bytes);
    QVERIFY(queue.last()->packe() == nullptr);
}

void tst_ProxyReception::wakesWhoeverWaitsForReplies()
{
    const TestProxy test;
    KVTServerMessageOldProxy &proxy = *test;
    QMutex &mutex = TestAccess::notifyMutex(proxy);
    mutex.lock();
    const std::unique_ptr<QThread> producer(QThread::create(
        [&] { proxy.ReceivedMessage(TarnEnum::ReplyReadData, QString(), QByteArray()); }));
    producer->start();
    // The append waits for the lock, which only the wait below gives up.
    const bool wasWoken = TestAccess::notifyCondition(proxy).wait(&mutex, WaitLimitMs);
    const int size = TestAccess::notifyList(proxy).size();
    mutex.unlock();
    QVERIFY(producer->wait(WaitLimitMs));
    QVERIFY(wasWoken);
    QCOMPARE(size, 1);
}

void tst_ProxyReception::splitsABody_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("packageType");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray data("\x80\xFF\0,\xC3\xA9", 6);
    const QString dataAsText = QString::fromLatin1(data.constData(), data.size());
    for (int id = 10; id <= 18; ++id) {
        const QByteArray body = WireBytes::body(id, data);
        QTest::addRow("%d, text packages", id) << body << 0 << dataAsText << QByteArray();
        QTest::addRow("%d, byte-array packages", id) << body << 1 << QString() << data;
        QTest::addRow("%d, packages of an unknown type", id)
            << body << 2 << dataAsText << QByteArray();
    }
    QTest::newRow("a reply of its identifier only")
        << QByteArray("\x0C") << 0 << QString() << QByteArray();
    QTest::newRow("a reply of its identifier only, byte-array packages")
        << QByteArray("\x0C") << 1 << QString() << QByteArray();
}

void tst_ProxyReception::splitsABody()
{
    QFETCH(QByteArray, body);
    QFETCH(int, packageType);
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    const TestProxy proxy;
    proxy->setPackageType(static_cast<TarnEnum::PackageType>(packageType));
    proxy->OnReceiveMessage(body);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 1);
    const NotifyStruct *const item = TestAccess::notifyList(*proxy).first();
    QCOMPARE(static_cast<int>(item->notify()), static_cast<int>(body.at(0)));
    QCOMPARE(item->strinfo(), text);
    QCOMPARE(item->getByteArrayInfo(), bytes);
}

void tst_ProxyReception::ignoresAnEmptyBody()
{
    const TestProxy proxy;
    loadOldState(proxy, true);
    const QString before = stateOf(proxy);
    const SignalRecorder recorder(&*proxy);
    const LogCapture log;
    proxy->OnReceiveMessage(QByteArray());
    proxy->OnReceiveMessage(QByteArray(""));
    QCOMPARE(stateOf(proxy), before);
    QVERIFY(recorder.raised.isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyReception::receivesOverTheSocket()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    const SignalRecorder recorder(&*proxy);
    // Also with byte-array packages a notification is text, Latin-1 and never UTF-8.
    proxy->setPackageType(TarnEnum::ByteArrayPackage);
    peer.send(WireBytes::message(5) + WireBytes::message(5, "\xC3\xA9\x80")
              + WireBytes::message(0x13, "x") + WireBytes::message(0xFF, "x")
              + WireBytes::message(9, "k/1/2/A/5") + WireBytes::message(0, "k/1/2/A/5,3.4"));
    QTRY_COMPARE_WITH_TIMEOUT(proxy->ServerVer(), QStringLiteral("3.4"), WaitLimitMs);
    QCOMPARE(recorder.raised,
             (QStringList{
                 raised(proxy, "BeginConnectEquipment", QString()),
                 raised(proxy, "BeginConnectEquipment", QStringLiteral("\u00C3\u00A9\u0080")),
                 raised(proxy, "EquipmentChangeEvent", QStringLiteral("15")),
             }));
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
}

void tst_ProxyReception::survivesBadInputFromTheSocket()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    QTRY_VERIFY_WITH_TIMEOUT(peer.isConnected(), WaitLimitMs);
    const SignalRecorder recorder(&*proxy);
    const LogCapture log;
    QByteArray stream = WireBytes::frame(QByteArray());
    for (int id = 0; id < 256; ++id) {
        stream += WireBytes::message(id);
        stream += WireBytes::message(id, QByteArray(300, '/') + QByteArray(300, ','));
        stream += WireBytes::message(id, QByteArray("\0\xFF*#*#*#,>/<", 12));
    }
    peer.send(stream + WireBytes::message(0, ",marker"));
    QTRY_COMPARE_WITH_TIMEOUT(proxy->ServerVer(), QStringLiteral("marker"), WaitLimitMs);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 9 * 3);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.raised.size(), 5 * 3, WaitLimitMs);
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyReception::takesWhatStandsBeforeTheFirstTag_data()
{
    QTest::addColumn<QString>("info");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("out");
    const auto row = [](const char *name, const char *info, bool result, const char *out) {
        QTest::newRow(name) << QString::fromLatin1(info) << result << QString::fromLatin1(out);
    };
    row("a tag between two texts", "abc<x>def", true, "abc");
    row("an end without a beginning", "a>b", true, "a");
    row("two tags", "abc<x>def<y>ghi", true, "abc");
    row("two beginnings", "a<b<c>d", true, "a<b");
    row("a beginning after the end", "a>b<c", true, "a");
    row("a tag in front", "<x>abc", true, "");
    row("an end in front", ">abc", true, "");
    row("an end only", ">", true, "");
    row("no end", "abc<x", false, "old");
    row("no tag", "abc", false, "old");
    row("nothing", "", false, "old");
}

void tst_ProxyReception::takesWhatStandsBeforeTheFirstTag()
{
    QFETCH(QString, info);
    QFETCH(bool, result);
    QFETCH(QString, out);
    const TestProxy proxy;
    QString taken = QStringLiteral("old");
    QCOMPARE(proxy->GetInfo(info, &taken), result);
    QCOMPARE(taken, out);
}

KSPROXY_TEST_MAIN(tst_ProxyReception)
#include "tst_ProxyReception.moc"
