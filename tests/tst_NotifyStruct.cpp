#include "NotifyStruct.h"
#include "PackageBase.h"
#include "TestMain.h"

#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace {

/// The same fields as plain members, in the order in which they must lie.
struct PlainItem : public QObject
{
    QString id;
    TarnEnum::NotifyTypes notify;
    TarnEnum::MessageIDs sendID;
    QString strinfo;
    std::shared_ptr<QByteArray> info;
    void *reply;
    qint32 replyType;
    QByteArray byteArrayInfo;
    qint32 wndHandle;
    PackageBase *packe;
    qint32 pId;
};

/// What lies in \a item where \a member lies in a plain item.
template <typename Value, typename Member>
Value valueAt(const NotifyStruct &item, Member PlainItem::*member)
{
    const PlainItem plain{};
    const auto offset
        = reinterpret_cast<const char *>(&(plain.*member)) - reinterpret_cast<const char *>(&plain);
    Value value;
    std::memcpy(&value, reinterpret_cast<const char *>(&item) + offset, sizeof(Value));
    return value;
}

} // namespace

class tst_NotifyStruct : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesEachItemAnIdOfItsOwn();
    void givesIdsOfTheirOwnOnAllThreads();
    void isEmptyWhenNew();
    void keepsWhatIsSet();
    void keepsNumbersOfAllSizes_data();
    void keepsNumbersOfAllSizes();
    void tellsTheTwoInfosApart();
    void sharesItsBytes();
    void releasesItsShareWhenDeleted();
    void handsOutCopies();
    void leavesThePackageAlive();
    void isDeletedThroughItsBase();
    void hasNoMetaObjectOfItsOwn();
    void liesInMemoryInOrder();
};

void tst_NotifyStruct::givesEachItemAnIdOfItsOwn()
{
    const QRegularExpression form(
        QStringLiteral("^\\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\\}$"));
    QSet<QString> ids;
    for (int i = 0; i < 1000; ++i) {
        const NotifyStruct item;
        QCOMPARE(item.getId().size(), 38);
        QVERIFY2(form.match(item.getId()).hasMatch(), qPrintable(item.getId()));
        ids.insert(item.getId());
    }
    QCOMPARE(ids.size(), 1000);
}

void tst_NotifyStruct::givesIdsOfTheirOwnOnAllThreads()
{
    std::vector<QStringList> ids(4);
    std::vector<std::thread> threads;
    for (QStringList &list : ids) {
        threads.emplace_back([&list] {
            for (int i = 0; i < 500; ++i)
                list.append(NotifyStruct().getId());
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QSet<QString> all;
    for (const QStringList &list : ids)
        all.unite(QSet<QString>(list.begin(), list.end()));
    QCOMPARE(all.size(), 2000);
}

void tst_NotifyStruct::isEmptyWhenNew()
{
    NotifyStruct item;
    QVERIFY(item.strinfo().isEmpty());
    QVERIFY(item.getByteArrayInfo().isEmpty());
    QVERIFY(!item.info());
    QCOMPARE(item.reply(), static_cast<void *>(nullptr));
    QCOMPARE(item.packe(), static_cast<PackageBase *>(nullptr));
    QCOMPARE(item.replyType(), 0);
    QCOMPARE(item.wndHandle(), 0);
    QCOMPARE(item.getPId(), 0);
    QCOMPARE(int(item.notify()), 0);
    QCOMPARE(int(item.sendID()), 0);
    QCOMPARE(item.parent(), static_cast<QObject *>(nullptr));
}

void tst_NotifyStruct::keepsWhatIsSet()
{
    PackageBase package;
    int target = 0;
    NotifyStruct item;
    item.setId(QStringLiteral("an id"));
    item.setNotify(TarnEnum::ReplyReadData);
    item.setSendID(TarnEnum::SendOrder);
    item.setInfo(QStringLiteral("a text"));
    item.setReply(&target);
    item.setReplyType(1);
    item.setByteArrayInfo(QByteArray("a\0b", 3));
    item.setWndHandle(2);
    item.setPacke(&package);
    item.setPId(3);
    QCOMPARE(item.getId(), QStringLiteral("an id"));
    QCOMPARE(item.notify(), TarnEnum::ReplyReadData);
    QCOMPARE(item.sendID(), TarnEnum::SendOrder);
    QCOMPARE(item.strinfo(), QStringLiteral("a text"));
    QCOMPARE(item.reply(), static_cast<void *>(&target));
    QCOMPARE(item.replyType(), 1);
    QCOMPARE(item.getByteArrayInfo(), QByteArray("a\0b", 3));
    QCOMPARE(item.wndHandle(), 2);
    QCOMPARE(item.packe(), &package);
    QCOMPARE(item.getPId(), 3);
    QVERIFY(!item.info());
}

void tst_NotifyStruct::keepsNumbersOfAllSizes_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("negative") << -1;
    QTest::newRow("a low byte of 5") << 0x105;
    QTest::newRow("largest") << std::numeric_limits<int>::max();
    QTest::newRow("smallest") << std::numeric_limits<int>::min();
}

void tst_NotifyStruct::keepsNumbersOfAllSizes()
{
    QFETCH(int, number);
    NotifyStruct item;
    item.setReplyType(number);
    item.setWndHandle(number);
    item.setPId(number);
    item.setNotify(static_cast<TarnEnum::NotifyTypes>(number));
    item.setSendID(static_cast<TarnEnum::MessageIDs>(number));
    QCOMPARE(item.replyType(), number);
    QCOMPARE(item.wndHandle(), number);
    QCOMPARE(item.getPId(), number);
    QCOMPARE(int(item.notify()), number);
    QCOMPARE(int(item.sendID()), number);
}

void tst_NotifyStruct::tellsTheTwoInfosApart()
{
    NotifyStruct item;
    item.setInfo(QStringLiteral("text"));
    QVERIFY(!item.info());
    item.setInfo(std::make_shared<QByteArray>("bytes"));
    QCOMPARE(item.strinfo(), QStringLiteral("text"));
    QCOMPARE(*item.info(), QByteArray("bytes"));
    QVERIFY(item.getByteArrayInfo().isEmpty());
}

void tst_NotifyStruct::sharesItsBytes()
{
    const auto bytes = std::make_shared<QByteArray>("shared");
    NotifyStruct item;
    item.setInfo(bytes);
    QCOMPARE(bytes.use_count(), 2L);
    {
        const std::shared_ptr<QByteArray> share = item.info();
        QCOMPARE(share.get(), bytes.get());
        QCOMPARE(bytes.use_count(), 3L);
    }
    QCOMPARE(bytes.use_count(), 2L);
    item.setInfo(std::shared_ptr<QByteArray>());
    QVERIFY(!item.info());
    QCOMPARE(bytes.use_count(), 1L);
}

void tst_NotifyStruct::releasesItsShareWhenDeleted()
{
    const auto bytes = std::make_shared<QByteArray>("shared");
    auto *const item = new NotifyStruct;
    item->setInfo(bytes);
    QCOMPARE(bytes.use_count(), 2L);
    delete item;
    QCOMPARE(bytes.use_count(), 1L);
    QCOMPARE(*bytes, QByteArray("shared"));
}

void tst_NotifyStruct::handsOutCopies()
{
    NotifyStruct item;
    item.setInfo(QStringLiteral("text"));
    item.setByteArrayInfo("bytes");
    QString text = item.strinfo();
    text.append(QLatin1Char('!'));
    QByteArray bytes = item.getByteArrayInfo();
    bytes.append('!');
    QString id = item.getId();
    id.clear();
    QCOMPARE(item.strinfo(), QStringLiteral("text"));
    QCOMPARE(item.getByteArrayInfo(), QByteArray("bytes"));
    QCOMPARE(item.getId().size(), 38);
}

void tst_NotifyStruct::leavesThePackageAlive()
{
    const QScopedPointer<PackageBase> package(new PackageBase);
    bool isPackageDestroyed = false;
    connect(package.data(), &QObject::destroyed, this, [&] { isPackageDestroyed = true; });
    auto *const item = new NotifyStruct;
    item->setPacke(package.data());
    item->setReply(package.data());
    delete item;
    QVERIFY(!isPackageDestroyed);
    package->setTag(QStringLiteral("still there"));
    QCOMPARE(package->getTag(), QStringLiteral("still there"));
}

void tst_NotifyStruct::isDeletedThroughItsBase()
{
    const auto bytes = std::make_shared<QByteArray>("shared");
    auto *const item = new NotifyStruct;
    item->setInfo(bytes);
    QObject *const base = item;
    delete base;
    QCOMPARE(bytes.use_count(), 1L);
}

void tst_NotifyStruct::hasNoMetaObjectOfItsOwn()
{
    const NotifyStruct item;
    QCOMPARE(item.metaObject(), &QObject::staticMetaObject);
}

void tst_NotifyStruct::liesInMemoryInOrder()
{
    QCOMPARE(sizeof(NotifyStruct), sizeof(PlainItem));
    PackageBase package;
    int target = 0;
    NotifyStruct item;
    item.setNotify(static_cast<TarnEnum::NotifyTypes>(0x01020304));
    item.setSendID(static_cast<TarnEnum::MessageIDs>(0x11121314));
    item.setReply(&target);
    item.setReplyType(0x21222324);
    item.setWndHandle(0x31323334);
    item.setPacke(&package);
    item.setPId(0x41424344);
    QCOMPARE(valueAt<qint32>(item, &PlainItem::notify), 0x01020304);
    QCOMPARE(valueAt<qint32>(item, &PlainItem::sendID), 0x11121314);
    QCOMPARE(valueAt<void *>(item, &PlainItem::reply), static_cast<void *>(&target));
    QCOMPARE(valueAt<qint32>(item, &PlainItem::replyType), 0x21222324);
    QCOMPARE(valueAt<qint32>(item, &PlainItem::wndHandle), 0x31323334);
    QCOMPARE(valueAt<PackageBase *>(item, &PlainItem::packe), &package);
    QCOMPARE(valueAt<qint32>(item, &PlainItem::pId), 0x41424344);
}

KSPROXY_TEST_MAIN(tst_NotifyStruct)
#include "tst_NotifyStruct.moc"
