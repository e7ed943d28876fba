#include "SpecialPackageRequest.h"
#include "TestMain.h"

#include <QTest>

class tst_SpecialPackageRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isItsOrdersBytes_data();
    void isItsOrdersBytes();
    void hasNoOrderWhenNew();
    void keepsTheOrderApartFromTheData();
    void answersThroughItsBase();
    void isAPlainPackageOtherwise();
    void copiesTheOrder();
};

void tst_SpecialPackageRequest::isItsOrdersBytes_data()
{
    QTest::addColumn<QByteArray>("order");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("words") << QByteArray("restart port 1");
    QTest::newRow("UTF-8") << QByteArray("\xC3\xA4\xE6\x97\xA5");
    QTest::newRow("zero bytes inside") << QByteArray("a\0b\0", 4);
    QTest::newRow("separators") << QByteArray(";=%,");
    QTest::newRow("100000 bytes") << QByteArray(100000, 'x');
}

void tst_SpecialPackageRequest::isItsOrdersBytes()
{
    QFETCH(QByteArray, order);
    SpecialPackageRequest request;
    request.setOrder("something else before");
    request.setOrder(order);
    QCOMPARE(request.toByteArray(), order);
}

void tst_SpecialPackageRequest::hasNoOrderWhenNew()
{
    QCOMPARE(SpecialPackageRequest().toByteArray(), QByteArray());
}

void tst_SpecialPackageRequest::keepsTheOrderApartFromTheData()
{
    SpecialPackageRequest request;
    request.setOrder("order");
    request.setData("data");
    QCOMPARE(request.toByteArray(), QByteArray("order"));
    QCOMPARE(request.getData(), QByteArray("data"));
    QCOMPARE(request.getDataLength(), 4);
    request.fromString(QStringLiteral("dataLength=1;data=QQ=="));
    QCOMPARE(request.toByteArray(), QByteArray("order"));
    QCOMPARE(request.getData(), QByteArray("A"));
}

void tst_SpecialPackageRequest::answersThroughItsBase()
{
    SpecialPackageRequest request;
    request.setOrder("order");
    const PackageBase &base = request;
    QCOMPARE(base.toByteArray(), QByteArray("order"));
}

void tst_SpecialPackageRequest::isAPlainPackageOtherwise()
{
    SpecialPackageRequest request;
    request.setOrder("order");
    QCOMPARE(request.getReadWriteCode(), -1);
    QCOMPARE(request.getClientPackageType(), 0);
    const QString text = request.toRequestString();
    QVERIFY(text.startsWith(QStringLiteral("serialNum=%1;").arg(request.getSerialNum())));
    QVERIFY(text.endsWith(QStringLiteral(";tag=")));
    QVERIFY(!text.contains(QStringLiteral("order")));
}

void tst_SpecialPackageRequest::copiesTheOrder()
{
    SpecialPackageRequest source;
    source.setOrder("order");
    source.setTag(QStringLiteral("tag"));
    SpecialPackageRequest copy(source);
    QCOMPARE(copy.toByteArray(), QByteArray("order"));
    QCOMPARE(copy.getTag(), QStringLiteral("tag"));
    QCOMPARE(copy.getSerialNum(), source.getSerialNum());
    copy.setOrder("another");
    QCOMPARE(source.toByteArray(), QByteArray("order"));
    source = copy;
    QCOMPARE(source.toByteArray(), QByteArray("another"));
}

KSPROXY_TEST_MAIN(tst_SpecialPackageRequest)
#include "tst_SpecialPackageRequest.moc"
