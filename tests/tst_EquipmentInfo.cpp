#include "EquipmentInfo.h"
#include "MinimalProxy.h"
#include "TestMain.h"

#include <QMap>
#include <QTest>

#include <type_traits>

namespace {

/// A record in which no field has its default, with one child.
EquipmentInfo filledInfo()
{
    EquipmentInfo info;
    info.shortValue = -2;
    info.longValue = Q_INT64_C(-0x0102030405060708);
    info.flag = true;
    info.text = QStringLiteral("text");
    info.connectionKey = QStringLiteral("key");
    info.connectionKeyCopy = QStringLiteral("key copy");
    info.intValue = -3;
    info.extraText = QStringLiteral("extra");
    info.extraValue = Q_INT64_C(0x1112131415161718);
    info.lanInfo = {QStringLiteral("lan 1"), 4, QStringLiteral("lan 2"), QStringLiteral("lan 3")};
    info.extraText2 = QStringLiteral("extra 2");
    info.extraText3 = QStringLiteral("extra 3");
    info.extraInt = 5;
    EquipmentInfo child;
    child.text = QStringLiteral("child");
    info.children.append(child);
    return info;
}

bool isEqual(const LanAdditionalInfo &one, const LanAdditionalInfo &other)
{
    return one.text1 == other.text1 && one.number == other.number && one.text2 == other.text2
        && one.text3 == other.text3;
}

bool isEqual(const EquipmentInfo &one, const EquipmentInfo &other)
{
    if (one.children.size() != other.children.size())
        return false;
    for (int i = 0; i < one.children.size(); ++i) {
        if (!isEqual(one.children.at(i), other.children.at(i)))
            return false;
    }
    return one.shortValue == other.shortValue && one.longValue == other.longValue
        && one.flag == other.flag && one.text == other.text
        && one.connectionKey == other.connectionKey
        && one.connectionKeyCopy == other.connectionKeyCopy && one.intValue == other.intValue
        && one.extraText == other.extraText && one.extraValue == other.extraValue
        && isEqual(one.lanInfo, other.lanInfo) && one.extraText2 == other.extraText2
        && one.extraText3 == other.extraText3 && one.extraInt == other.extraInt;
}

bool isEmptyNotNull(const QString &text)
{
    return text.isEmpty() && !text.isNull();
}

} // namespace

class tst_EquipmentInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // First: it looks at a process in which no proxy has been made.
    void isRegisteredOnceAProxyExists();
    void hasItsDefaults();
    void hasTheDefaultsOfItsNetworkDetails();
    void hasEmptyTextsThatAreNotNull();
    void hasItsFieldsInOrder();
    void hasTheNetworkFieldsInOrder();
    void copiesEveryField();
    void assignsEveryField();
    void copiesAreIndependent();
    void copiesChildrenOfChildren();
    void canHoldItself();
    void travelsInAVariant();
};

void tst_EquipmentInfo::isRegisteredOnceAProxyExists()
{
    const QList<QByteArray> names{"EquipmentInfo", "LanAdditionalInfo",
                                  "QMap<QString,EquipmentInfo>"};
    for (const QByteArray &name : names)
        QCOMPARE(QMetaType::type(name), int(QMetaType::UnknownType));
    const MinimalProxy proxy;
    for (const QByteArray &name : names)
        QVERIFY2(QMetaType::type(name) != QMetaType::UnknownType, name.constData());
    QCOMPARE(QMetaType::type("EquipmentInfo"), qMetaTypeId<EquipmentInfo>());
    QCOMPARE(QMetaType::type("LanAdditionalInfo"), qMetaTypeId<LanAdditionalInfo>());
}

void tst_EquipmentInfo::hasItsDefaults()
{
    const EquipmentInfo info;
    QCOMPARE(quint16(info.shortValue), quint16(0xFFFF));
    QCOMPARE(info.longValue, Q_INT64_C(0));
    QCOMPARE(info.flag, false);
    QCOMPARE(info.intValue, 256);
    QCOMPARE(info.extraValue, Q_INT64_C(0));
    QCOMPARE(info.extraInt, 0);
    QVERIFY(info.children.isEmpty());
}

void tst_EquipmentInfo::hasTheDefaultsOfItsNetworkDetails()
{
    QCOMPARE(LanAdditionalInfo().number, 0);
    QCOMPARE(EquipmentInfo().lanInfo.number, 0);
}

void tst_EquipmentInfo::hasEmptyTextsThatAreNotNull()
{
    const EquipmentInfo info;
    QVERIFY(isEmptyNotNull(info.text));
    QVERIFY(isEmptyNotNull(info.connectionKey));
    QVERIFY(isEmptyNotNull(info.connectionKeyCopy));
    QVERIFY(isEmptyNotNull(info.extraText));
    QVERIFY(isEmptyNotNull(info.extraText2));
    QVERIFY(isEmptyNotNull(info.extraText3));
    QVERIFY(isEmptyNotNull(info.lanInfo.text1));
    QVERIFY(isEmptyNotNull(info.lanInfo.text2));
    QVERIFY(isEmptyNotNull(info.lanInfo.text3));
}

void tst_EquipmentInfo::hasItsFieldsInOrder()
{
    EquipmentInfo info;
    // Names are given to the fields by their position; there are as many as here.
    auto &[f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14] = info;
    QCOMPARE(&f1, &info.shortValue);
    QCOMPARE(&f2, &info.longValue);
    QCOMPARE(&f3, &info.flag);
    QCOMPARE(&f4, &info.text);
    QCOMPARE(&f5, &info.connectionKey);
    QCOMPARE(&f6, &info.connectionKeyCopy);
    QCOMPARE(&f7, &info.intValue);
    QCOMPARE(&f8, &info.extraText);
    QCOMPARE(&f9, &info.extraValue);
    QCOMPARE(&f10, &info.lanInfo);
    QCOMPARE(&f11, &info.extraText2);
    QCOMPARE(&f12, &info.extraText3);
    QCOMPARE(&f13, &info.extraInt);
    QCOMPARE(&f14, &info.children);
    QCOMPARE(sizeof info.shortValue, sizeof(qint16));
    QVERIFY((std::is_same_v<decltype(info.longValue), qint64>));
    QVERIFY((std::is_same_v<decltype(info.intValue), qint32>));
    QCOMPARE(sizeof info.extraValue, sizeof(qint64));
    QVERIFY((std::is_same_v<decltype(info.extraInt), qint32>));
    QVERIFY(!std::is_polymorphic_v<EquipmentInfo>);
}

void tst_EquipmentInfo::hasTheNetworkFieldsInOrder()
{
    LanAdditionalInfo info;
    auto &[f1, f2, f3, f4] = info;
    QCOMPARE(&f1, &info.text1);
    QCOMPARE(&f2, &info.number);
    QCOMPARE(&f3, &info.text2);
    QCOMPARE(&f4, &info.text3);
    QVERIFY((std::is_same_v<decltype(info.number), qint32>));
}

void tst_EquipmentInfo::copiesEveryField()
{
    const EquipmentInfo source = filledInfo();
    QVERIFY(!isEqual(source, EquipmentInfo()));
    const EquipmentInfo copy(source);
    QVERIFY(isEqual(copy, source));
}

void tst_EquipmentInfo::assignsEveryField()
{
    const EquipmentInfo source = filledInfo();
    EquipmentInfo target;
    target = source;
    QVERIFY(isEqual(target, source));
    target = EquipmentInfo();
    QVERIFY(isEqual(target, EquipmentInfo()));
    QVERIFY(isEqual(source, filledInfo()));
}

void tst_EquipmentInfo::copiesAreIndependent()
{
    const EquipmentInfo source = filledInfo();
    EquipmentInfo copy(source);
    copy.text = QStringLiteral("changed");
    copy.lanInfo.text1 = QStringLiteral("changed");
    copy.lanInfo.number = 99;
    copy.children[0].text = QStringLiteral("changed");
    copy.children.append(EquipmentInfo());
    QVERIFY(isEqual(source, filledInfo()));
    QCOMPARE(copy.children.size(), 2);
    copy.children.clear();
    QCOMPARE(source.children.size(), 1);
}

void tst_EquipmentInfo::copiesChildrenOfChildren()
{
    EquipmentInfo grandparent = filledInfo();
    grandparent.children[0].children.append(filledInfo());
    EquipmentInfo copy(grandparent);
    QVERIFY(isEqual(copy, grandparent));
    copy.children[0].children[0].children[0].text = QStringLiteral("changed");
    QCOMPARE(grandparent.children.at(0).children.at(0).children.at(0).text,
             QStringLiteral("child"));
}

void tst_EquipmentInfo::canHoldItself()
{
    EquipmentInfo info = filledInfo();
    info.children.append(info);
    QCOMPARE(info.children.size(), 2);
    QVERIFY(isEqual(info.children.at(1), filledInfo()));
}

void tst_EquipmentInfo::travelsInAVariant()
{
    const QVariant variant = QVariant::fromValue(filledInfo());
    QVERIFY(isEqual(variant.value<EquipmentInfo>(), filledInfo()));
    const QVariant lan = QVariant::fromValue(filledInfo().lanInfo);
    QVERIFY(isEqual(lan.value<LanAdditionalInfo>(), filledInfo().lanInfo));
}

KSPROXY_TEST_MAIN(tst_EquipmentInfo)
#include "tst_EquipmentInfo.moc"
