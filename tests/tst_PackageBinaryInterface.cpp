#include "PackageKinds.h"
#include "TestMain.h"

#include <QTest>

#include <dlfcn.h>

#include <cstring>
#include <typeinfo>

namespace {

/// Where an operation stands in the table of virtual functions: a pointer to a virtual member is
/// one more than its offset in bytes.
template <typename Operation>
int slot(Operation operation)
{
    std::ptrdiff_t value = 0;
    static_assert(sizeof operation >= sizeof value);
    std::memcpy(&value, &operation, sizeof value);
    return value % 2 == 1 ? static_cast<int>((value - 1) / std::ptrdiff_t(sizeof(void *))) : -1;
}

/// QObject's own: three for the meta-object, two destructors, seven for events.
constexpr int FirstSlot = 12;

class DerivedReadData : public PackageRequestReadData
{
public:
    ~DerivedReadData() override;
};

DerivedReadData::~DerivedReadData() = default;

bool isReadData(const PackageBase *package)
{
    return typeid(*package) == typeid(PackageRequestReadData);
}

} // namespace

class tst_PackageBinaryInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsVirtualOperationsInOrder();
    void overridesInTheSameSlots();
    void hasNoVirtualAccessors();
    void isToldApartByItsExactType();
    void sharesItsTypeInformation_data();
    void sharesItsTypeInformation();
    void asksForNothingWithoutAPackage();
    void isDeletedThroughItsBase_data();
    void isDeletedThroughItsBase();
    void hasNoMetaObjectOfItsOwn_data();
    void hasNoMetaObjectOfItsOwn();
};

void tst_PackageBinaryInterface::hasItsVirtualOperationsInOrder()
{
    QCOMPARE(slot(&QObject::eventFilter), 6);
    QCOMPARE(slot(&PackageBase::getDataLength), FirstSlot);
    QCOMPARE(slot(&PackageBase::getData), FirstSlot + 1);
    QCOMPARE(slot(&PackageBase::setData), FirstSlot + 2);
    QCOMPARE(slot(&PackageBase::toByteArray), FirstSlot + 3);
    QCOMPARE(slot(&PackageBase::toReplyString), FirstSlot + 4);
    QCOMPARE(slot(&PackageBase::toRequestString), FirstSlot + 5);
    QCOMPARE(slot(&PackageBase::fromString), FirstSlot + 6);
    QCOMPARE(slot(&PackageRequestRead::getReadLength), FirstSlot + 7);
}

void tst_PackageBinaryInterface::overridesInTheSameSlots()
{
    QCOMPARE(slot(&PackageRequestReadData::getReadLength), FirstSlot + 7);
    QCOMPARE(slot(&PackageRequestWriteData::fromString), FirstSlot + 6);
    QCOMPARE(slot(&SpecialPackageRequest::toByteArray), FirstSlot + 3);
}

void tst_PackageBinaryInterface::hasNoVirtualAccessors()
{
    QCOMPARE(slot(&PackageBase::getClientPackageType), -1);
    QCOMPARE(slot(&PackageRequestWrite::getClientPackageType), -1);
    QCOMPARE(slot(&PackageBase::getReadWriteCode), -1);
    QCOMPARE(slot(&PackageBase::getSerialNum), -1);
    QCOMPARE(slot(&PackageBase::setCommResult), -1);
    QCOMPARE(slot(&PackageBase::CompleteRequestEvent), -1);
    QCOMPARE(slot(&PackageRequestRead::setReplyDataLength), -1);
}

void tst_PackageBinaryInterface::isToldApartByItsExactType()
{
    QVERIFY(isReadData(PackageKinds::ReadData.make().get()));
    for (const PackageKind &kind : PackageKinds::All) {
        if (std::strcmp(kind.name, PackageKinds::ReadData.name) != 0)
            QVERIFY2(!isReadData(kind.make().get()), kind.name);
    }
    const DerivedReadData derived;
    QVERIFY(!isReadData(&derived));
    QVERIFY(dynamic_cast<const PackageRequestReadData *>(static_cast<const QObject *>(&derived))
            != nullptr);
}

void tst_PackageBinaryInterface::sharesItsTypeInformation_data()
{
    QTest::addColumn<quintptr>("known");
    QTest::addColumn<QByteArray>("symbol");
    const auto row = [](const std::type_info &type) {
        QTest::newRow(type.name())
            << reinterpret_cast<quintptr>(&type) << QByteArray("_ZTI") + type.name();
    };
    row(typeid(PackageBase));
    row(typeid(PackageRequestRead));
    row(typeid(PackageRequestReadData));
    row(typeid(PackageRequestReadFile));
    row(typeid(PackageRequestReadMemData));
    row(typeid(PackageRequestWrite));
    row(typeid(PackageRequestWriteData));
    row(typeid(PackageRequestWriteFile));
    row(typeid(PackageRequestWriteMemData));
    row(typeid(PackageRequestCombination));
    row(typeid(SpecialPackageRequest));
}

void tst_PackageBinaryInterface::sharesItsTypeInformation()
{
    QFETCH(quintptr, known);
    QFETCH(QByteArray, symbol);
    // One object in the whole process, and the library hands it out by name.
    QCOMPARE(reinterpret_cast<quintptr>(dlsym(RTLD_DEFAULT, symbol.constData())), known);
    void *const library = dlopen("libksproxypackage.so.1", RTLD_LAZY | RTLD_NOLOAD);
    QVERIFY2(library != nullptr, "the package library is not a library of its own");
    QVERIFY(dlsym(library, symbol.constData()) != nullptr);
    dlclose(library);
}

void tst_PackageBinaryInterface::asksForNothingWithoutAPackage()
{
    QVERIFY_EXCEPTION_THROWN(isReadData(nullptr), std::bad_typeid);
}

void tst_PackageBinaryInterface::isDeletedThroughItsBase_data()
{
    PackageKinds::addRows();
}

void tst_PackageBinaryInterface::isDeletedThroughItsBase()
{
    QFETCH(PackageKind, kind);
    QObject *const object = kind.makeRaw();
    int destroyed = 0;
    connect(object, &QObject::destroyed, this, [&] { ++destroyed; });
    delete object;
    QCOMPARE(destroyed, 1);
}

void tst_PackageBinaryInterface::hasNoMetaObjectOfItsOwn_data()
{
    PackageKinds::addRows();
}

void tst_PackageBinaryInterface::hasNoMetaObjectOfItsOwn()
{
    QFETCH(PackageKind, kind);
    QCOMPARE(kind.make()->metaObject(), &QObject::staticMetaObject);
}

KSPROXY_TEST_MAIN(tst_PackageBinaryInterface)
#include "tst_PackageBinaryInterface.moc"
