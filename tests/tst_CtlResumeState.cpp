#include "ResumeState.h"
#include "TestMain.h"

#include <QFile>
#include <QTest>

namespace {

const QByteArray Data("The data of the load.");

EquipmentAddress place()
{
    return {QStringLiteral("COM1"), 0x40};
}

QString stateFile()
{
    return ResumeState::fileNameFor(testFolder() + QLatin1String("/data"));
}

} // namespace

/// The small file beside a load's data.
class tst_CtlResumeState : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void standsBesideTheData();
    void keepsTheOffset();
    void refusesAnotherLoad_data();
    void refusesAnotherLoad();
    void refusesABadFile_data();
    void refusesABadFile();
    void saysThatThereIsNothingToResume();
    void saysThatItCannotBeWritten();
};

void tst_CtlResumeState::init()
{
    ResumeState state(place(), Data);
    state.setOffset(7);
    QCOMPARE(state.write(stateFile()), QString());
}

void tst_CtlResumeState::standsBesideTheData()
{
    QCOMPARE(ResumeState::fileNameFor(QStringLiteral("a/b.bin")),
             QStringLiteral("a/b.bin.ksproxyctl-resume"));
}

void tst_CtlResumeState::keepsTheOffset()
{
    ResumeState state(place(), Data);
    QCOMPARE(state.offset(), 0);
    QCOMPARE(state.read(stateFile()), QString());
    QCOMPARE(state.offset(), 7);
}

void tst_CtlResumeState::refusesAnotherLoad_data()
{
    QTest::addColumn<EquipmentAddress>("address");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("name");
    EquipmentAddress address = place();
    address.key = QStringLiteral("COM2");
    QTest::newRow("to other equipment") << address << Data << QStringLiteral("key");
    address = place();
    address.address = 0x41;
    QTest::newRow("to another address") << address << Data << QStringLiteral("address");
    address = place();
    address.port = 1;
    QTest::newRow("to another port") << address << Data << QStringLiteral("port");
    address = place();
    address.scanBoard = 1;
    QTest::newRow("to another scan board") << address << Data << QStringLiteral("board");
    address = place();
    address.deviceType = 1;
    QTest::newRow("to another type of device") << address << Data << QStringLiteral("deviceType");
    QByteArray other = Data;
    other[3] = '_';
    QTest::newRow("of other data") << place() << other << QStringLiteral("sha256");
}

void tst_CtlResumeState::refusesAnotherLoad()
{
    QFETCH(EquipmentAddress, address);
    QFETCH(QByteArray, data);
    QFETCH(QString, name);
    ResumeState state(address, data);
    const QString problem = state.read(stateFile());
    QVERIFY2(problem.contains(QStringLiteral("another load: its %1 is not").arg(name)),
             qPrintable(problem));
    QCOMPARE(state.offset(), 0);
}

void tst_CtlResumeState::refusesABadFile_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QString>("reason");
    const QString offset = QStringLiteral("holds no offset within the data.");
    QTest::newRow("an offset behind the end")
        << QByteArray("\"offset\": 7") << QByteArray("\"offset\": 21") << offset;
    QTest::newRow("a negative offset")
        << QByteArray("\"offset\": 7") << QByteArray("\"offset\": -2") << offset;
    QTest::newRow("no offset") << QByteArray("\"offset\"") << QByteArray("\"offsets\"") << offset;
    QTest::newRow("no JSON") << QByteArray("{") << QByteArray("<")
                             << QStringLiteral("is no resume file.");
}

void tst_CtlResumeState::refusesABadFile()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    QFETCH(QString, reason);
    QFile file(stateFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray text = file.readAll();
    file.close();
    QVERIFY(text.contains(before));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text.replace(before, after));
    file.close();

    ResumeState state(place(), Data);
    const QString problem = state.read(stateFile());
    QCOMPARE(problem, QStringLiteral("\"%1\" %2").arg(stateFile(), reason));
    QCOMPARE(state.offset(), 0);
}

void tst_CtlResumeState::saysThatThereIsNothingToResume()
{
    QVERIFY(QFile::remove(stateFile()));
    ResumeState state(place(), Data);
    QCOMPARE(state.read(stateFile()),
             QStringLiteral("There is nothing to resume: \"%1\" cannot be read: No such file or "
                            "directory.")
                 .arg(stateFile()));
}

void tst_CtlResumeState::saysThatItCannotBeWritten()
{
    const ResumeState state(place(), Data);
    const QString problem = state.write(QStringLiteral("/no/such/folder/state"));
    QVERIFY2(problem.startsWith(QLatin1String("\"/no/such/folder/state\" cannot be written: ")),
             qPrintable(problem));
}

KSPROXY_TEST_MAIN(tst_CtlResumeState)
#include "tst_CtlResumeState.moc"
