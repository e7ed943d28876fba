#include "LocalPeer.h"
#include "LogCapture.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestAccess.h"
#include "TestMain.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QMutexLocker>
#include <QPointer>
#include <QTest>
#include <QThread>

#include <memory>
#include <typeinfo>

namespace {

/// Requests that are pending, numbered from 0, and the order in which they are completed.
class PendingRequests
{
public:
    PendingRequests(const TestProxy &proxy, int count)
        : m_proxy(proxy)
    {
        for (int i = 0; i < count; ++i) {
            m_requests.push_back(std::make_unique<PackageRequestReadData>());
            PackageBase *const request = m_requests.back().get();
            request->setCompletionHandler([this, i](void *, PackageBase *reply) {
                completed.append(i);
                serialNums.append(reply->getSerialNum());
            });
            TestAccess::requestList(*proxy).append(request);
        }
    }
    ~PendingRequests()
    {
        // They belong to this object, so Terminate must not find them.
        TestAccess::requestList(*m_proxy).clear();
    }

    PackageBase *operator[](std::size_t index) const
    {
        return m_requests[index].get();
    }

    QList<int> completed;
    QList<quint64> serialNums; ///< of the replies

private:
    Q_DISABLE_COPY_MOVE(PendingRequests)

    const TestProxy &m_proxy;
    std::vector<std::unique_ptr<PackageRequestReadData>> m_requests;
};

void receive(const TestProxy &proxy, int type, const QByteArray &text)
{
    QVERIFY(proxy->ReceivedMessage(type, QString::fromLatin1(text), QByteArray()));
}

/// An item of a type that the dispatch would not queue.
NotifyStruct *appendItem(const TestProxy &proxy, int type)
{
    auto *const item = new NotifyStruct;
    item->setNotify(static_cast<TarnEnum::NotifyTypes>(type));
    item->setInfo(QStringLiteral("serialNum=1,11"));
    TestAccess::appendNotification(*proxy, item);
    return item;
}

bool isFree(QMutex &mutex)
{
    const bool wasFree = mutex.tryLock();
    if (wasFree)
        mutex.unlock();
    return wasFree;
}

/// No request has this number.
constexpr quint64 UnknownNumber = 0xFFFFFFFFFFFF;

} // namespace

/// Which request a reply completes, and what else the loop does with its queue.
class tst_ProxyNotifyLoop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void completesTheRequestOfEachReplyType_data();
    void completesTheRequestOfEachReplyType();
    void completesTheMiddleOfThree();
    void completesTheOldestWithAnUnknownReply();
    void completesNothingWithoutPendingRequests();
    void removesANullThatStandsFirst();
    void passesOverNullsThatStandLater();
    void prefersTheNewestOfTwoWithOneNumber();
    void matchesNumbersOf64Bits();
    void completesAPackageThatWasSentTwiceForEachReply();
    void completesWithAReplyThatCannotBeRead();
    void leavesRequestsPendingWithByteArrayPackages_data();
    void leavesRequestsPendingWithByteArrayPackages();
    void deletesItemsOfOtherTypes_data();
    void deletesItemsOfOtherTypes();
    void drainsTheQueueInOrder();
    void removesNullItems();
    void passesOverAnEmptyQueueWithoutTheLock();
    void leavesTheQueueAloneOnceStopped();
    void completesOverTheSocket();
};

void tst_ProxyNotifyLoop::completesTheRequestOfEachReplyType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("kind");
    QTest::newRow("read data") << 11 << 0 << 0;
    QTest::newRow("read file") << 12 << 0 << 1;
    QTest::newRow("read memory data") << 13 << 0 << 2;
    QTest::newRow("write data") << 14 << 1 << 0;
    QTest::newRow("write file") << 15 << 1 << 1;
    QTest::newRow("write memory data: a plain package") << 16 << -1 << 0;
}

void tst_ProxyNotifyLoop::completesTheRequestOfEachReplyType()
{
    QFETCH(int, type);
    QFETCH(int, code);
    QFETCH(int, kind);
    const TestProxy proxy;
    PackageRequestWriteData request;
    int token = 0;
    request.setUserToken(&token);
    request.setTag(QStringLiteral("the request's"));
    TestAccess::requestList(*proxy).append(&request);
    int completions = 0;
    QPointer<PackageBase> adopted;
    request.setCompletionHandler([&](void *sender, PackageBase *reply) {
        ++completions;
        adopted = reply;
        QCOMPARE(sender, static_cast<void *>(&*proxy));
        QCOMPARE(reply->getSerialNum(), request.getSerialNum());
        QCOMPARE(reply->getReadWriteCode(), code);
        QCOMPARE(reply->getClientPackageType(), kind);
        QCOMPARE(reply->getData(), QByteArray("data"));
        QCOMPARE(reply->getUserToken(), static_cast<void *>(&token));
        // Only the token: the rest of the header is the server's affair in text mode.
        QCOMPARE(reply->getTag(), QString());
        QVERIFY(TestAccess::requestList(*proxy).isEmpty());
        QVERIFY(isFree(TestAccess::requestMutex(*proxy)));
        QVERIFY(isFree(TestAccess::notifyMutex(*proxy)));
    });
    receive(proxy, type, replyText(request.getSerialNum(), "data"));
    const QPointer<NotifyStruct> item(TestAccess::notifyList(*proxy).first());
    const LogCapture log;
    proxy->NotifyThreadFun(true); // what it is given does not matter
    QCOMPARE(completions, 1);
    QVERIFY(!item);
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
    QCOMPARE(request.getData(), QByteArray());
    QVERIFY(log.lines().isEmpty());
    // The loop does not release the reply; the request, which adopted it, does when it is cleared.
    QVERIFY(adopted);
    QVERIFY(request.takeReply() == nullptr);
    QTRY_VERIFY_WITH_TIMEOUT(!adopted, WaitLimitMs);
}

void tst_ProxyNotifyLoop::completesTheMiddleOfThree()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 3);
    receive(proxy, 11, replyText(pending[1]->getSerialNum()));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{1});
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{pending[0], pending[2]}));
}

void tst_ProxyNotifyLoop::completesTheOldestWithAnUnknownReply()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 3);
    receive(proxy, 14, replyText(UnknownNumber));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{0});
    QCOMPARE(pending.serialNums, QList<quint64>{UnknownNumber});
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{pending[1], pending[2]}));
}

void tst_ProxyNotifyLoop::completesNothingWithoutPendingRequests()
{
    const TestProxy proxy;
    receive(proxy, 12, replyText(UnknownNumber));
    const QPointer<NotifyStruct> item(TestAccess::notifyList(*proxy).first());
    const LogCapture log;
    proxy->NotifyThreadFun(false);
    QVERIFY(!item);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyNotifyLoop::removesANullThatStandsFirst()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 2);
    TestAccess::requestList(*proxy).prepend(nullptr);
    TestAccess::requestList(*proxy).append(nullptr);
    receive(proxy, 11, replyText(UnknownNumber));
    const QPointer<NotifyStruct> item(TestAccess::notifyList(*proxy).first());
    proxy->NotifyThreadFun(false);
    QVERIFY(!item);
    QVERIFY(pending.completed.isEmpty());
    QCOMPARE(TestAccess::requestList(*proxy),
             (QList<PackageBase *>{pending[0], pending[1], nullptr}));
}

void tst_ProxyNotifyLoop::passesOverNullsThatStandLater()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 2);
    TestAccess::requestList(*proxy).insert(1, nullptr);
    TestAccess::requestList(*proxy).append(nullptr);
    receive(proxy, 11, replyText(pending[1]->getSerialNum()));
    receive(proxy, 11, replyText(UnknownNumber));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, (QList<int>{1, 0}));
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{nullptr, nullptr}));
}

void tst_ProxyNotifyLoop::prefersTheNewestOfTwoWithOneNumber()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 3);
    pending[0]->fromString(QStringLiteral("serialNum=5"));
    pending[1]->fromString(QStringLiteral("serialNum=5"));
    receive(proxy, 11, replyText(5));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{1});
}

void tst_ProxyNotifyLoop::matchesNumbersOf64Bits()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 3);
    pending[1]->fromString(QStringLiteral("serialNum=4294967301"));
    pending[2]->fromString(QStringLiteral("serialNum=5")); // the same low half
    receive(proxy, 11, replyText(4294967301));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{1});
}

void tst_ProxyNotifyLoop::completesAPackageThatWasSentTwiceForEachReply()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 2);
    TestAccess::requestList(*proxy).append(pending[0]);
    receive(proxy, 11, replyText(pending[0]->getSerialNum()));
    proxy->NotifyThreadFun(false);
    // Found at the end, but removed where it stands first.
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{pending[1], pending[0]}));
    int completions = 0;
    pending[0]->setCompletionHandler([&](void *, PackageBase *) { ++completions; });
    receive(proxy, 11, replyText(pending[0]->getSerialNum()));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{0});
    QCOMPARE(completions, 1);
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{pending[1]});
}

void tst_ProxyNotifyLoop::completesWithAReplyThatCannotBeRead()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 1);
    TarnEnum::CommResults result = TarnEnum::Success;
    pending[0]->setCompletionHandler(
        [&](void *, PackageBase *reply) { result = reply->getCommResult(); });
    receive(proxy, 11, QByteArray());
    proxy->NotifyThreadFun(false);
    QCOMPARE(result, TarnEnum::BadReply);
    QVERIFY(TestAccess::requestList(*proxy).isEmpty());
}

void tst_ProxyNotifyLoop::leavesRequestsPendingWithByteArrayPackages_data()
{
    QTest::addColumn<int>("type");
    for (int type = 11; type <= 16; ++type)
        QTest::addRow("%d", type) << type;
}

void tst_ProxyNotifyLoop::leavesRequestsPendingWithByteArrayPackages()
{
    QFETCH(int, type);
    const TestProxy proxy;
    const PendingRequests pending(proxy, 2);
    proxy->setPackageType(TarnEnum::ByteArrayPackage);
    proxy->OnReceiveMessage(WireBytes::body(type, replyText(pending[1]->getSerialNum())));
    const QPointer<NotifyStruct> item(TestAccess::notifyList(*proxy).first());
    const LogCapture log;
    proxy->NotifyThreadFun(false);
    QVERIFY(!item);
    QVERIFY(pending.completed.isEmpty());
    QCOMPARE(TestAccess::requestList(*proxy), (QList<PackageBase *>{pending[0], pending[1]}));
    QCOMPARE(log.count(QtCriticalMsg,
                       QStringLiteral("KVTServerMessageOldProxy::ParseCompleteRequest QByteArray "
                                      "not spport")),
             1);
    QCOMPARE(log.lines().size(), 1);
}

void tst_ProxyNotifyLoop::deletesItemsOfOtherTypes_data()
{
    QTest::addColumn<int>("type");
    for (const int type : {10, 17, 0, 9, 19, 22, -1, 99})
        QTest::addRow("%d", type) << type;
}

void tst_ProxyNotifyLoop::deletesItemsOfOtherTypes()
{
    QFETCH(int, type);
    for (const TarnEnum::PackageType mode : {TarnEnum::TextPackage, TarnEnum::ByteArrayPackage}) {
        const TestProxy proxy;
        const PendingRequests pending(proxy, 1);
        proxy->setPackageType(mode);
        const QPointer<NotifyStruct> item(appendItem(proxy, type));
        const LogCapture log;
        proxy->NotifyThreadFun(false);
        QVERIFY(!item);
        QVERIFY(pending.completed.isEmpty());
        QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{pending[0]});
        QVERIFY(log.lines().isEmpty());
    }
}

void tst_ProxyNotifyLoop::drainsTheQueueInOrder()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 4);
    for (const std::size_t index : {2, 0, 3, 1})
        receive(proxy, 11, replyText(pending[index]->getSerialNum()));
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, (QList<int>{2, 0, 3, 1}));
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
}

void tst_ProxyNotifyLoop::removesNullItems()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 1);
    TestAccess::appendNotification(*proxy, nullptr);
    TestAccess::appendNotification(*proxy, nullptr);
    receive(proxy, 11, replyText(pending[0]->getSerialNum()));
    TestAccess::appendNotification(*proxy, nullptr);
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{0});
    QVERIFY(TestAccess::notifyList(*proxy).isEmpty());
}

void tst_ProxyNotifyLoop::passesOverAnEmptyQueueWithoutTheLock()
{
    const TestProxy proxy;
    const QMutexLocker notifyLocker(&TestAccess::notifyMutex(*proxy));
    const QMutexLocker requestLocker(&TestAccess::requestMutex(*proxy));
    const LogCapture log;
    proxy->NotifyThreadFun(false); // would never return if it took one of them
    QVERIFY(log.lines().isEmpty());
}

void tst_ProxyNotifyLoop::leavesTheQueueAloneOnceStopped()
{
    const TestProxy proxy;
    const PendingRequests pending(proxy, 1);
    receive(proxy, 11, replyText(pending[0]->getSerialNum()));
    receive(proxy, 10, QByteArray());
    TestAccess::notifyStop(*proxy) = true;
    proxy->NotifyThreadFun(false);
    QCOMPARE(TestAccess::notifyList(*proxy).size(), 2);
    QVERIFY(pending.completed.isEmpty());
    TestAccess::notifyStop(*proxy) = false;
    proxy->NotifyThreadFun(false);
    QCOMPARE(pending.completed, QList<int>{0});
}

void tst_ProxyNotifyLoop::completesOverTheSocket()
{
    LocalPeer peer;
    const TestProxy proxy;
    proxy->Initalize();
    QVERIFY(proxy->Register(QString(), nullptr, QString()));
    PackageRequestReadData request;
    request.setReadLength(4);
    QByteArray data;
    request.setCompletionHandler([&](void *, PackageBase *reply) {
        data = reply->getData();
        QCOMPARE(QThread::currentThread(), thread());
    });
    QVERIFY(proxy->SendRequestReadData(&request));
    QTRY_COMPARE_WITH_TIMEOUT(peer.bodies().size(), 2, WaitLimitMs);
    peer.send(WireBytes::message(11, replyText(request.getSerialNum(), QByteArray("\0\xFF,;", 4))));
    QTRY_COMPARE_WITH_TIMEOUT(data, QByteArray("\0\xFF,;", 4), WaitLimitMs);
    // The registration's null entry is still there: nothing answers it.
    QCOMPARE(TestAccess::requestList(*proxy), QList<PackageBase *>{nullptr});
}

KSPROXY_TEST_MAIN(tst_ProxyNotifyLoop)
#include "tst_ProxyNotifyLoop.moc"
