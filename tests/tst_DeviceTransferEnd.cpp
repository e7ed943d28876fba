#include "Pattern.h"
#include "ProgressLog.h"
#include "TestMain.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTranslator>

#include <functional>
#include <new>
#include <utility>

using Code = SessionError::Code;
using State = DeviceSession::State;

namespace {

const QString Key = QStringLiteral("COM1");
constexpr int Chunk = 100;
constexpr int Bytes = 50 * Chunk;

/// While it lives, a sentence of a transfer takes memory that there is not.
class NoMemoryTranslator : public QTranslator
{
public:
    NoMemoryTranslator()
    {
        QCoreApplication::installTranslator(this);
    }
    bool isEmpty() const override
    {
        return false;
    }
    QString translate(const char *context, const char *, const char *, int) const override
    {
        if (qstrcmp(context, "DeviceTransferPrivate") == 0)
            throw std::bad_alloc();
        return QString();
    }
};

/// Does something once, before an object is told what has been posted to it.
class BeforeTheNextEvent : public QObject
{
public:
    explicit BeforeTheNextEvent(std::function<void()> deed)
        : m_deed(std::move(deed))
    { }
    void watch(QObject *object)
    {
        object->installEventFilter(this);
    }
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::MetaCall && m_deed)
            std::exchange(m_deed, nullptr)();
        return QObject::eventFilter(object, event);
    }

private:
    std::function<void()> m_deed;
};

} // namespace

/// How a transfer ends before all is moved.
class tst_DeviceTransferEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void abortsAtTheStart();
    void abortsInTheMiddle();
    void ignoresAnAbortBeforeTheStartAndAfterTheEnd();
    void endsWithTheServer();
    void endsWhenTheSessionCloses();
    void saysWhyWhenTheSessionGoesBetweenTwoChunks_data();
    void saysWhyWhenTheSessionGoesBetweenTwoChunks();
    void endsWhenTheSessionIsDestroyed();
    void endsWhenThereIsNoMemoryToSaySo();
    void isNotStartedWithoutASession();
    void isDeletedInTheMiddle();
    void isDeletedInsideProgress();
    void isDeletedInsideFinished();
    void isDeletedWithItsParentTheSession();
    void mayTakeItsParentTheSessionWithIt();

private:
    bool runToTheMiddle();
    void compareWithPattern() const;

    ServerProcess m_server;
    std::unique_ptr<DeviceSession> m_session;
    QPointer<DeviceTransfer> m_transfer;
    std::unique_ptr<ProgressLog> m_progress;
    int m_finished = 0;
};

void tst_DeviceTransferEnd::init()
{
    QVERIFY(m_server.start());
    m_session = std::make_unique<DeviceSession>();
    QVERIFY(m_session->open(SessionFixture::options()));
    QTRY_COMPARE_WITH_TIMEOUT(m_session->state(), State::Ready, WaitLimitMs);
    QVERIFY(fillWithPattern(*m_session, Key));
    m_transfer = new DeviceTransfer(m_session.get());
    m_transfer->setChunkBytes(Chunk);
    m_progress = std::make_unique<ProgressLog>(m_transfer);
    m_finished = 0;
    connect(m_transfer, &DeviceTransfer::finished, this, [this] { ++m_finished; });
}

void tst_DeviceTransferEnd::cleanup()
{
    delete m_transfer;
    m_session.reset();
    m_server.kill();
    QVERIFY(m_server.waitForEnd());
}

bool tst_DeviceTransferEnd::runToTheMiddle()
{
    m_transfer->read({Key, 0}, Bytes);
    return QTest::qWaitFor([this] { return m_progress->last >= Bytes / 2; }, WaitLimitMs)
        && !m_transfer->isFinished();
}

void tst_DeviceTransferEnd::compareWithPattern() const
{
    const int bytes = m_transfer->transferredBytes();
    QVERIFY2(bytes >= Bytes / 2 && bytes < Bytes, qPrintable(QString::number(bytes)));
    QCOMPARE(m_transfer->data(), pattern(0, bytes));
    QVERIFY(m_progress->isWell);
    QCOMPARE(m_finished, 1);
}

void tst_DeviceTransferEnd::abortsAtTheStart()
{
    m_transfer->read({Key, 0}, Bytes);
    m_transfer->abort();
    QVERIFY(!m_transfer->isFinished());
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), Code::Aborted);
    QCOMPARE(m_transfer->transferredBytes(), 0);
    QVERIFY(m_transfer->data().isEmpty());
    QCOMPARE(m_progress->last, 0);
    QCOMPARE(m_finished, 1);
}

void tst_DeviceTransferEnd::abortsInTheMiddle()
{
    QVERIFY(runToTheMiddle());
    const int transferred = m_transfer->transferredBytes();
    m_transfer->abort();
    m_transfer->abort();
    const QScopedPointer<DeviceReply> marker(m_session->read({Key, 0}, 1));
    QVERIFY(waitForEnd(*marker));
    QVERIFY(m_transfer->isFinished());
    QCOMPARE(m_transfer->error(), Code::Aborted);
    QCOMPARE(m_transfer->transferredBytes(), transferred);
    compareWithPattern();
}

void tst_DeviceTransferEnd::ignoresAnAbortBeforeTheStartAndAfterTheEnd()
{
    m_transfer->abort();
    m_transfer->read({Key, 0}, Chunk);
    QVERIFY(waitForEnd(*m_transfer));
    m_transfer->abort();
    const QScopedPointer<DeviceReply> marker(m_session->read({Key, 0}, 1));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(m_transfer->error(), Code::None);
    QCOMPARE(m_transfer->data(), pattern(0, Chunk));
    QCOMPARE(m_finished, 1);
}

void tst_DeviceTransferEnd::endsWithTheServer()
{
    QVERIFY(runToTheMiddle());
    m_server.kill();
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), Code::ConnectionLost);
    compareWithPattern();
}

void tst_DeviceTransferEnd::endsWhenTheSessionCloses()
{
    QVERIFY(runToTheMiddle());
    m_session->close();
    QCOMPARE(m_finished, 0);
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), Code::SessionClosed);
    compareWithPattern();
}

void tst_DeviceTransferEnd::saysWhyWhenTheSessionGoesBetweenTwoChunks_data()
{
    QTest::addColumn<bool>("comesBack");
    QTest::addColumn<SessionError::Code>("error");
    QTest::newRow("closed") << false << Code::SessionClosed;
    QTest::newRow("not ready any more") << true << Code::ConnectionLost;
}

void tst_DeviceTransferEnd::saysWhyWhenTheSessionGoesBetweenTwoChunks()
{
    QFETCH(bool, comesBack);
    QFETCH(SessionError::Code, error);
    m_transfer->setWindow(1);
    // The second chunk's reply has come, but the transfer has not heard of it yet.
    BeforeTheNextEvent before([&] {
        m_session->close();
        QVERIFY(!comesBack || m_session->open(SessionFixture::options()));
    });
    connect(m_transfer, &DeviceTransfer::progress, this,
            [&] { before.watch(m_session->findChildren<DeviceReply *>().constLast()); });
    m_transfer->read({Key, 0}, Bytes);
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), error);
    QCOMPARE(m_transfer->data(), pattern(0, 2 * Chunk));
    QCOMPARE(m_finished, 1);
}

void tst_DeviceTransferEnd::endsWhenTheSessionIsDestroyed()
{
    QVERIFY(runToTheMiddle());
    m_session.reset();
    QCOMPARE(m_finished, 0);
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), Code::SessionClosed);
    compareWithPattern();
}

void tst_DeviceTransferEnd::endsWhenThereIsNoMemoryToSaySo()
{
    QVERIFY(runToTheMiddle());
    const NoMemoryTranslator translator;
    m_session.reset();
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), Code::OutOfMemory);
    compareWithPattern();
}

void tst_DeviceTransferEnd::isNotStartedWithoutASession()
{
    m_session.reset();
    m_transfer->read({Key, 0}, Bytes);
    QVERIFY(waitForEnd(*m_transfer));
    QCOMPARE(m_transfer->error(), Code::SessionClosed);
    QCOMPARE(m_finished, 1);
}

void tst_DeviceTransferEnd::isDeletedInTheMiddle()
{
    QVERIFY(runToTheMiddle());
    delete m_transfer;
    QVERIFY(m_session->findChildren<DeviceReply *>().size() <= 1); // one may wait for deletion
    const QScopedPointer<DeviceReply> marker(m_session->read({Key, 0}, 1));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(marker->data(), pattern(0, 1));
    QCOMPARE(m_finished, 0);
}

void tst_DeviceTransferEnd::isDeletedInsideProgress()
{
    connect(m_transfer, &DeviceTransfer::progress, this, [this](qint64 done) {
        if (done >= Bytes / 2)
            delete m_transfer;
    });
    m_transfer->read({Key, 0}, Bytes);
    QTRY_VERIFY_WITH_TIMEOUT(m_transfer.isNull(), WaitLimitMs);
    const QScopedPointer<DeviceReply> marker(m_session->read({Key, 0}, 1));
    QVERIFY(waitForEnd(*marker));
    QCOMPARE(marker->error(), Code::None);
    QCOMPARE(m_finished, 0);
}

void tst_DeviceTransferEnd::isDeletedInsideFinished()
{
    connect(m_transfer, &DeviceTransfer::finished, this, [this] { delete m_transfer; });
    m_transfer->read({Key, 0}, Bytes);
    QTRY_VERIFY_WITH_TIMEOUT(m_transfer.isNull(), WaitLimitMs);
    QCOMPARE(m_finished, 1);
}

void tst_DeviceTransferEnd::isDeletedWithItsParentTheSession()
{
    m_transfer->setParent(m_session.get());
    QVERIFY(runToTheMiddle());
    m_session.reset();
    QVERIFY(m_transfer.isNull());
    QCOMPARE(m_finished, 0);
}

void tst_DeviceTransferEnd::mayTakeItsParentTheSessionWithIt()
{
    m_transfer->setParent(m_session.get());
    QVERIFY(runToTheMiddle());
    connect(m_transfer, &QObject::destroyed, this, [this] { m_session.reset(); });
    delete m_transfer;
    QVERIFY(m_session == nullptr);
    QCOMPARE(m_finished, 0);
}

KSPROXY_TEST_MAIN(tst_DeviceTransferEnd)
#include "tst_DeviceTransferEnd.moc"
