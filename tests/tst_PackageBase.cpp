#include "PackageBase.h"
#include "PackageKinds.h"
#include "TestMain.h"

#include <QSet>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

namespace {

/// Whether a field takes both \a first and \a second and gives back what it took last.
template <typename Value, typename Getter, typename Setter>
bool keeps(Getter get, Setter set, Value first, Value second)
{
    PackageBase package;
    std::invoke(set, package, first);
    if (std::invoke(get, package) != first)
        return false;
    std::invoke(set, package, second);
    return std::invoke(get, package) == second;
}

/// The same at the ends of an integer's range and around zero.
template <typename Integer, typename Getter, typename Setter>
bool keepsAllSizes(Getter get, Setter set)
{
    using Limits = std::numeric_limits<Integer>;
    return keeps<Integer>(get, set, Limits::min(), Limits::max()) && keeps<Integer>(get, set, 1, 0)
        && keeps<Integer>(get, set, Limits::max(), 0)
        && keeps<Integer>(get, set, static_cast<Integer>(-1), 1);
}

} // namespace

class tst_PackageBase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // First: it looks at the first packages of the process.
    void countsSerialNumbersFromOne();
    void countsOnWhateverIsMade();
    void countsOnAllThreads();
    void hasTheCodesOfItsClass_data();
    void hasTheCodesOfItsClass();
    void startsEmpty_data();
    void startsEmpty();
    void keepsIntegersOfAllSizes();
    void keepsTexts_data();
    void keepsTexts();
    void keepsThePointerAndTheResult();
    void keepsEachFieldApart_data();
    void keepsEachFieldApart();
    void keepsData_data();
    void keepsData();
    void keepsTheLengthsOfAReadRequest();
    void copiesWhatItHolds();
    void copiesAreIndependent();
    void copiesNeitherParentNorHandlerNorReply();
    void assignsWhatItHolds();
    void keepsItsCodesWhenAnotherKindIsAssigned();
    void assignmentLeavesParentHandlerAndReply();
    void survivesAssignmentToItself();
};

void tst_PackageBase::countsSerialNumbersFromOne()
{
    const PackageBase first;
    QCOMPARE(first.getSerialNum(), Q_UINT64_C(1));
    const PackageBase second;
    QCOMPARE(second.getSerialNum(), Q_UINT64_C(2));
}

void tst_PackageBase::countsOnWhateverIsMade()
{
    quint64 last = PackageBase().getSerialNum();
    for (const PackageKind &kind : PackageKinds::All) {
        const auto package = kind.make();
        QCOMPARE(package->getSerialNum(), last + 1);
        last = package->getSerialNum();
        // Neither a copy nor an assignment takes a number.
        const PackageBase copy(*package);
        QCOMPARE(copy.getSerialNum(), last);
        *package = copy;
    }
    QCOMPARE(PackageBase().getSerialNum(), last + 1);
}

void tst_PackageBase::countsOnAllThreads()
{
    constexpr int PerThread = 20000;
    const quint64 before = PackageBase().getSerialNum();
    std::vector<std::vector<quint64>> numbers(4);
    std::vector<std::thread> threads;
    std::atomic<int> waiting{4};
    for (std::vector<quint64> &own : numbers) {
        threads.emplace_back([&own, &waiting] {
            // All begin together, or each would be done before the next begins.
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            for (int i = 0; i < PerThread; ++i)
                own.push_back(PackageRequestReadData().getSerialNum());
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QSet<quint64> all;
    for (const std::vector<quint64> &own : numbers) {
        QVERIFY(std::is_sorted(own.begin(), own.end()));
        all.unite(QSet<quint64>(own.begin(), own.end()));
    }
    QCOMPARE(all.size(), 4 * PerThread);
    QCOMPARE(*std::min_element(all.begin(), all.end()), before + 1);
    QCOMPARE(*std::max_element(all.begin(), all.end()), before + 4 * PerThread);
}

void tst_PackageBase::hasTheCodesOfItsClass_data()
{
    PackageKinds::addRows();
}

void tst_PackageBase::hasTheCodesOfItsClass()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    QCOMPARE(package->getReadWriteCode(), kind.readWriteCode);
    QCOMPARE(package->getClientPackageType(), kind.clientPackageType);
    const auto *const write = dynamic_cast<PackageRequestWrite *>(package.get());
    QCOMPARE(write != nullptr, kind.isWrite());
    if (write != nullptr)
        QCOMPARE(write->PackageRequestWrite::getClientPackageType(), kind.clientPackageType);
    QCOMPARE(dynamic_cast<PackageRequestRead *>(package.get()) != nullptr, kind.isRead());
}

void tst_PackageBase::startsEmpty_data()
{
    PackageKinds::addRows();
}

void tst_PackageBase::startsEmpty()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    QCOMPARE(package->getHighAddr(), quint16(0));
    QCOMPARE(package->getLowAddr(), quint16(0));
    QCOMPARE(package->getDesAddr(), qint8(0));
    QCOMPARE(package->getDeviceType(), 0);
    QCOMPARE(package->getPortAddr(), qint8(0));
    QVERIFY(package->getSeverConnectionKey().isEmpty());
    QCOMPARE(package->getReserved2(), 0);
    QCOMPARE(package->getScanBoardAddr(), 0);
    QCOMPARE(package->getScrAddr(), qint8(0));
    QVERIFY(package->getTag().isEmpty());
    QCOMPARE(package->getTimeout(), 0);
    QCOMPARE(package->getUserToken(), static_cast<void *>(nullptr));
    QCOMPARE(package->getCommResult(), TarnEnum::Success);
    QCOMPARE(package->getDataLength(), 0);
    QVERIFY(package->getData().isEmpty());
    QCOMPARE(package->parent(), static_cast<QObject *>(nullptr));
    QCOMPARE(package->takeReply(), static_cast<PackageBase *>(nullptr));
    if (const auto *const read = dynamic_cast<PackageRequestRead *>(package.get())) {
        QCOMPARE(read->getReadLength(), 0);
        QCOMPARE(read->getReplyDataLength(), 0);
    }
}

void tst_PackageBase::keepsIntegersOfAllSizes()
{
    using P = PackageBase;
    QVERIFY(keepsAllSizes<quint16>(&P::getHighAddr, &P::setHighAddr));
    QVERIFY(keepsAllSizes<quint16>(&P::getLowAddr, &P::setLowAddr));
    QVERIFY(keepsAllSizes<qint8>(&P::getDesAddr, &P::setDesAddr));
    QVERIFY(keepsAllSizes<qint8>(&P::getPortAddr, &P::setPortAddr));
    QVERIFY(keepsAllSizes<qint8>(&P::getScrAddr, &P::setScrAddr));
    QVERIFY(keepsAllSizes<qint32>(&P::getDeviceType, &P::setDeviceType));
    QVERIFY(keepsAllSizes<qint32>(&P::getReserved2, &P::setReserved2));
    QVERIFY(keepsAllSizes<qint32>(&P::getScanBoardAddr, &P::setScanBoardAddr));
    QVERIFY(keepsAllSizes<qint32>(&P::getTimeout, &P::setTimeout));
}

void tst_PackageBase::keepsTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("plain") << QStringLiteral("COM1");
    QTest::newRow("other alphabets") << QStringLiteral("\u00E4\u65E5\U0001F600");
    QTest::newRow("a zero character inside") << QStringLiteral("a\0b").left(3);
    QTest::newRow("separators") << QStringLiteral(";=%,/");
    QTest::newRow("long") << QString(100000, QLatin1Char('x'));
}

void tst_PackageBase::keepsTexts()
{
    QFETCH(QString, text);
    PackageBase package;
    package.setServerConnectionKey(text);
    QCOMPARE(package.getSeverConnectionKey(), text);
    QVERIFY(package.getTag().isEmpty());
    package.setTag(text + QLatin1Char('!'));
    QCOMPARE(package.getTag(), text + QLatin1Char('!'));
    QCOMPARE(package.getSeverConnectionKey(), text);
}

void tst_PackageBase::keepsThePointerAndTheResult()
{
    int token = 0;
    QVERIFY(keeps<void *>(&PackageBase::getUserToken, &PackageBase::setUserToken, &token, nullptr));
    QVERIFY(keeps(&PackageBase::getCommResult, &PackageBase::setCommResult, TarnEnum::WriteFailed,
                  TarnEnum::Success));
    QVERIFY(keeps(&PackageBase::getCommResult, &PackageBase::setCommResult,
                  static_cast<TarnEnum::CommResults>(99), static_cast<TarnEnum::CommResults>(-1)));
}

void tst_PackageBase::keepsEachFieldApart_data()
{
    PackageKinds::addRows();
}

void tst_PackageBase::keepsEachFieldApart()
{
    QFETCH(PackageKind, kind);
    const auto package = kind.make();
    const quint64 serialNum = package->getSerialNum();
    PackageKinds::fill(package.get());
    QCOMPARE(package->getSerialNum(), serialNum);
    QCOMPARE(package->getReadWriteCode(), kind.readWriteCode);
    QCOMPARE(package->getClientPackageType(), kind.clientPackageType);
    QCOMPARE(package->getSeverConnectionKey(), QStringLiteral("COM1"));
    QCOMPARE(package->getDeviceType(), 101);
    QCOMPARE(package->getPortAddr(), qint8(-102));
    QCOMPARE(package->getScanBoardAddr(), -103);
    QCOMPARE(package->getDesAddr(), qint8(104));
    QCOMPARE(package->getScrAddr(), qint8(-105));
    QCOMPARE(package->getHighAddr(), quint16(60106));
    QCOMPARE(package->getLowAddr(), quint16(107));
    QCOMPARE(package->getReserved2(), -108);
    QCOMPARE(package->getTimeout(), 109);
    QCOMPARE(package->getTag(), QStringLiteral("a tag"));
    QCOMPARE(package->getUserToken(), static_cast<void *>(nullptr));
    QCOMPARE(package->getCommResult(), TarnEnum::Rejected);
    QCOMPARE(package->getData(), QByteArray("\0\x01\xFE\xFF", 4));
    QCOMPARE(package->getDataLength(), 4);
}

void tst_PackageBase::keepsData_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("one zero byte") << QByteArray(1, '\0');
    QTest::newRow("zero bytes inside") << QByteArray("a\0\0b", 4);
    QTest::newRow("bytes above 127") << QByteArray("\x80\xFF");
    QTest::newRow("a megabyte") << QByteArray(1 << 20, 'x');
}

void tst_PackageBase::keepsData()
{
    QFETCH(QByteArray, data);
    PackageRequestWriteData package;
    package.setData("something else before");
    package.setData(data);
    QCOMPARE(package.getData(), data);
    QCOMPARE(package.getDataLength(), data.size());
}

void tst_PackageBase::keepsTheLengthsOfAReadRequest()
{
    PackageRequestReadData package;
    for (const int length : {1, 0, -1, std::numeric_limits<int>::max()}) {
        package.setReadLength(length);
        QCOMPARE(package.getReadLength(), length);
        package.setReplyDataLength(length / 2);
        QCOMPARE(package.getReplyDataLength(), length / 2);
        QCOMPARE(package.getReadLength(), length);
    }
    // What came back is not what is held.
    QCOMPARE(package.getDataLength(), 0);
}

void tst_PackageBase::copiesWhatItHolds()
{
    int token = 0;
    PackageRequestReadData source;
    PackageKinds::fill(&source);
    source.setUserToken(&token);
    source.setReplyDataLength(111);
    const PackageRequestReadData copy(source);
    QCOMPARE(PackageKinds::describe(copy), PackageKinds::describe(source));
    QCOMPARE(copy.getUserToken(), static_cast<void *>(&token));
    QCOMPARE(copy.getReplyDataLength(), 111);

    PackageRequestWriteMemData written;
    PackageKinds::fill(&written);
    const PackageRequestWriteMemData writtenCopy(written);
    QCOMPARE(PackageKinds::describe(writtenCopy), PackageKinds::describe(written));

    PackageRequestCombination combination;
    PackageKinds::fill(&combination);
    const PackageRequestCombination combinationCopy(combination);
    QCOMPARE(PackageKinds::describe(combinationCopy), PackageKinds::describe(combination));
}

void tst_PackageBase::copiesAreIndependent()
{
    PackageRequestReadData source;
    PackageKinds::fill(&source);
    const QStringList before = PackageKinds::describe(source);
    PackageRequestReadData copy(source);
    copy.setTag(QStringLiteral("another"));
    copy.setData("other data");
    copy.setReadLength(1);
    copy.fromString(QStringLiteral("serialNum=123456789;timeout=1"));
    QCOMPARE(PackageKinds::describe(source), before);
    QCOMPARE(copy.getSerialNum(), Q_UINT64_C(123456789));
}

void tst_PackageBase::copiesNeitherParentNorHandlerNorReply()
{
    QObject parent;
    int calls = 0;
    auto *const source = new PackageRequestReadData;
    source->setParent(&parent);
    source->CompleteRequestEvent(this, new PackageBase);
    source->setCompletionHandler([&](void *, PackageBase *) { ++calls; });
    PackageRequestReadData copy(*source);
    QCOMPARE(copy.parent(), static_cast<QObject *>(nullptr));
    QCOMPARE(copy.takeReply(), static_cast<PackageBase *>(nullptr));
    copy.CompleteRequestEvent(this, &copy);
    QCOMPARE(calls, 0);
    source->CompleteRequestEvent(this, source);
    QCOMPARE(calls, 1);
    delete source->takeReply();
}

void tst_PackageBase::assignsWhatItHolds()
{
    int token = 0;
    PackageRequestReadData source;
    PackageKinds::fill(&source);
    source.setUserToken(&token);
    PackageRequestReadData target;
    target = source;
    QCOMPARE(PackageKinds::describe(target), PackageKinds::describe(source));
    QCOMPARE(target.getUserToken(), static_cast<void *>(&token));
    target.setTag(QStringLiteral("another"));
    QCOMPARE(source.getTag(), QStringLiteral("a tag"));
}

void tst_PackageBase::keepsItsCodesWhenAnotherKindIsAssigned()
{
    PackageRequestReadData read;
    PackageRequestWriteFile write;
    write.setTag(QStringLiteral("taken over"));
    static_cast<PackageBase &>(read) = write;
    QCOMPARE(read.getReadWriteCode(), 0);
    QCOMPARE(read.getClientPackageType(), 0);
    QCOMPARE(read.getTag(), QStringLiteral("taken over"));
}

void tst_PackageBase::assignmentLeavesParentHandlerAndReply()
{
    QObject parent;
    int calls = 0;
    auto *const target = new PackageRequestReadData;
    target->setParent(&parent);
    PackageBase *const reply = new PackageBase;
    target->CompleteRequestEvent(this, reply);
    target->setCompletionHandler([&](void *, PackageBase *) { ++calls; });
    *target = PackageRequestReadData();
    QCOMPARE(target->parent(), &parent);
    target->CompleteRequestEvent(this, target);
    QCOMPARE(calls, 1);
    QCOMPARE(target->takeReply(), reply);
    delete reply;
}

void tst_PackageBase::survivesAssignmentToItself()
{
    PackageRequestReadData package;
    PackageKinds::fill(&package);
    const QStringList before = PackageKinds::describe(package);
    const PackageRequestReadData &itself = package;
    package = itself;
    QCOMPARE(PackageKinds::describe(package), before);
}

KSPROXY_TEST_MAIN(tst_PackageBase)
#include "tst_PackageBase.moc"
