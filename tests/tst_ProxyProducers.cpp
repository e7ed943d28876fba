#include "LocalPeer.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WatchedSocket.h"
#include "WireBytes.h"

#include <QElapsedTimer>
#include <QMutexLocker>
#include <QSemaphore>
#include <QSet>
#include <QTest>
#include <QThread>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int ProducerCount = 4;
constexpr int PerProducer = 250;

/// Threads that each run \a work with their own number, and end with this object.
class Producers
{
public:
    explicit Producers(const std::function<void(int)> &work, int count = ProducerCount)
    {
        for (int i = 0; i < count; ++i)
            m_threads.emplace_back(QThread::create([work, i] { work(i); }));
        for (const auto &thread : m_threads)
            thread->start();
    }
    ~Producers()
    {
        for (const auto &thread : m_threads)
            thread->wait();
    }

private:
    Q_DISABLE_COPY_MOVE(Producers)

    std::vector<std::unique_ptr<QThread>> m_threads;
};

/// How many messages have been written so far.
int pendingCount(const TestProxy &proxy)
{
    const QMutexLocker locker(&TestAccess::requestMutex(*proxy));
    return TestAccess::requestList(*proxy).size();
}

/// Runs passes of the send loop, as the worker's ticks would, until \a count messages are gone.
bool sendAll(const TestProxy &proxy, int count)
{
    QElapsedTimer timer;
    timer.start();
    while (pendingCount(proxy) < count && timer.elapsed() < WaitLimitMs)
        proxy->SendThreadFun(false);
    return pendingCount(proxy) == count;
}

/// The messages that carry the number of one producer, in the order of their arrival.
QList<QByteArray> ofProducer(const QList<QByteArray> &bodies, int producer)
{
    const QByteArray prefix = "p" + QByteArray::number(producer) + "-";
    QList<QByteArray> own;
    for (const QByteArray &body : bodies) {
        if (body.mid(1).startsWith(prefix))
            own.append(body);
    }
    return own;
}

/// A read request of the application's own class, whose text is a tag and nothing else.
class TaggedRead : public PackageRequestReadData
{
public:
    explicit TaggedRead(const QString &text)
    {
        setTag(text);
        setReadLength(1);
    }
    QString toRequestString() const override
    {
        return getTag();
    }
};

} // namespace

/// Requests and commands from several threads at once.
class tst_ProxyProducers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheOrderOfEachProducer();
    void makesEachRequestPendingOnce();
    void looksAtAQueueThatGrowsMeanwhile();
    void readsTheGateAndTheTableMeanwhile();
    void findsRequestsMeanwhile();
    void completesEachRequestOnce();
};

void tst_ProxyProducers::keepsTheOrderOfEachProducer()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    proxy->setRegisted(true);
    // Every third message is a request.
    std::vector<std::unique_ptr<TaggedRead>> requests;
    for (int producer = 0; producer < ProducerCount; ++producer) {
        for (int i = 0; i < PerProducer; i += 3)
            requests.push_back(
                std::make_unique<TaggedRead>(QStringLiteral("p%1-%2").arg(producer).arg(i)));
    }
    const std::size_t requestsEach = requests.size() / ProducerCount;
    std::atomic<int> refused{0};
    {
        const Producers producers([&](int producer) {
            for (int i = 0; i < PerProducer; ++i) {
                const auto own = static_cast<std::size_t>(producer) * requestsEach;
                const bool queued = i % 3 == 0
                    ? proxy->SendRequestReadData(
                        requests[own + static_cast<std::size_t>(i) / 3].get())
                    : proxy->ConnectController(QStringLiteral("p%1-%2").arg(producer).arg(i));
                if (!queued)
                    ++refused;
            }
        });
        QVERIFY(sendAll(proxy, ProducerCount * PerProducer));
    }
    QCOMPARE(refused.load(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), ProducerCount * PerProducer, WaitLimitMs);
    const QList<QByteArray> bodies = peer.bodies();
    for (int producer = 0; producer < ProducerCount; ++producer) {
        QList<QByteArray> expected;
        for (int i = 0; i < PerProducer; ++i)
            expected.append((i % 3 == 0 ? "\7p" : "\3p") + QByteArray::number(producer) + "-"
                            + QByteArray::number(i));
        QCOMPARE(ofProducer(bodies, producer), expected);
    }
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyProducers::makesEachRequestPendingOnce()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    proxy->setRegisted(true);
    std::vector<PackageRequestWriteData> packages(ProducerCount * PerProducer);
    {
        const Producers producers([&](int producer) {
            for (int i = 0; i < PerProducer; ++i)
                proxy->SendRequestWriteData(&packages[producer * PerProducer + i]);
        });
        QVERIFY(sendAll(proxy, ProducerCount * PerProducer));
    }
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    QSet<PackageBase *> pending;
    for (PackageBase *const package : qAsConst(TestAccess::requestList(*proxy)))
        pending.insert(package);
    QCOMPARE(pending.size(), ProducerCount * PerProducer);
    for (PackageBase &package : packages)
        QVERIFY(pending.contains(&package));
    TestAccess::requestList(*proxy).clear();
}

void tst_ProxyProducers::looksAtAQueueThatGrowsMeanwhile()
{
    LocalPeer peer;
    const TestProxy proxy;
    WatchedSocket *const socket = WatchedSocket::install(&*proxy);
    QVERIFY(socket != nullptr);
    int writes = 0;
    socket->onWrite = [&] { ++writes; };
    socket->refuses = true; // dropped commands leave nothing behind
    constexpr int each = 20000;
    std::atomic<int> running{ProducerCount};
    {
        // Far faster than the loop, so the list moves again and again while the loop looks at it.
        const Producers producers([&](int) {
            for (int i = 0; i < each; ++i)
                proxy->SendCommand(TarnEnum::CancelAllSends, QString());
            --running;
        });
        while (running > 0)
            proxy->SendThreadFun(false);
    }
    while (!TestAccess::sendList(*proxy).isEmpty())
        proxy->SendThreadFun(false);
    QCOMPARE(writes, ProducerCount * each);
}

void tst_ProxyProducers::readsTheGateAndTheTableMeanwhile()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    std::atomic<bool> isOver{false};
    std::atomic<int> queued{0};
    std::atomic<int> badTables{0};
    int rounds = 0;
    // So that the threads do not run far ahead of the loop.
    QSemaphore room(100);
    {
        const Producers producers([&](int producer) {
            PackageBase package;
            auto id = TarnEnum::SendOrder;
            QString text;
            while (!isOver) {
                if (room.tryAcquire()) {
                    if (proxy->ConnectController(QStringLiteral("p%1").arg(producer)))
                        ++queued;
                    else
                        room.release();
                }
                proxy->ParseSendPackageInfo(&package, &id, &text);
                const int size = proxy->equipmentTable().size();
                if (size != 0 && size != 2)
                    ++badTables;
            }
        });
        QElapsedTimer timer;
        timer.start();
        // Until every thread has had its turns, the gate open and closed.
        while ((queued < 400 || rounds < 200) && timer.elapsed() < WaitLimitMs) {
            proxy->ReceivedMessage(TarnEnum::RegisterSuccess,
                                   QStringLiteral("a/1/2/A/5,b/1/2/B/5,1.0"), QByteArray());
            const int before = pendingCount(proxy);
            for (int pass = 0; pass < 10; ++pass)
                proxy->SendThreadFun(false);
            room.release(pendingCount(proxy) - before);
            proxy->ReceivedMessage(TarnEnum::Unregistered, QString(), QByteArray());
            ++rounds;
        }
        isOver = true;
    }
    QVERIFY(queued >= 400);
    QVERIFY(rounds >= 200);
    QCOMPARE(badTables.load(), 0);
    // Each that was accepted is sent once, whatever the gate did afterwards.
    QVERIFY(sendAll(proxy, queued));
    QVERIFY(TestAccess::sendList(*proxy).isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), queued.load(), WaitLimitMs);
}

void tst_ProxyProducers::findsRequestsMeanwhile()
{
    LocalPeer peer;
    const TestProxy proxy;
    QVERIFY(proxy.connectServer());
    constexpr int count = 200;
    std::vector<PackageRequestReadData> packages(count);
    const auto firstNumber = static_cast<unsigned int>(packages.front().getSerialNum());
    std::atomic<bool> isOver{false};
    std::atomic<int> found{0};
    std::atomic<int> wrong{0};
    {
        const Producers searchers(
            [&](int searcher) {
                while (!isOver) {
                    for (unsigned int i = static_cast<unsigned int>(searcher); i < count; i += 7) {
                        PackageBase *const match = proxy->MatchRequest(firstNumber + i);
                        if (match == &packages[i])
                            ++found;
                        else if (match != nullptr)
                            ++wrong;
                    }
                }
            },
            2);
        for (PackageRequestReadData &package : packages)
            proxy->SendPackageMessage(&package);
        QVERIFY(sendAll(proxy, count));
        QElapsedTimer timer;
        timer.start();
        while (found < count && timer.elapsed() < WaitLimitMs)
            QThread::yieldCurrentThread();
        for (const PackageRequestReadData &package : packages)
            proxy->ReceivedMessage(TarnEnum::ReplyReadData,
                                   QString::fromLatin1(replyText(package.getSerialNum())),
                                   QByteArray());
        proxy->NotifyThreadFun(false);
        isOver = true;
    }
    QVERIFY(found >= count);
    QCOMPARE(wrong.load(), 0);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(proxy->MatchRequest(firstNumber) == nullptr);
}

void tst_ProxyProducers::completesEachRequestOnce()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize(); // with the real workers, so with few requests
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    constexpr int each = 25;
    std::vector<PackageRequestReadData> packages(ProducerCount * each);
    std::vector<int> completions(packages.size(), 0);
    for (std::size_t i = 0; i < packages.size(); ++i) {
        packages[i].setReadLength(1);
        packages[i].setCompletionHandler([&completions, &packages, i](void *, PackageBase *reply) {
            if (reply->getSerialNum() == packages[i].getSerialNum())
                ++completions[i];
        });
    }
    const Producers producers([&](int producer) {
        for (int i = 0; i < each; ++i)
            proxy->SendRequestReadData(&packages[producer * each + i]);
    });
    // The registration, then each request exactly once; the replies come in the reverse order.
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 1 + ProducerCount * each, WaitLimitMs);
    for (auto package = packages.rbegin(); package != packages.rend(); ++package)
        peer.send(WireBytes::message(11, replyText(package->getSerialNum())));
    const std::vector<int> once(packages.size(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(completions == once, WaitLimitMs);
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{nullptr});
}

KSPROXY_TEST_MAIN(tst_ProxyProducers)
#include "tst_ProxyProducers.moc"
