#include "MyEvent.h"
#include "TestMain.h"

#include <QTest>

namespace {

int registeredBefore = 0;

// Runs before the initialisers of the static members: what is left to them is nothing.
__attribute__((constructor(101))) void takeAllNumbers()
{
    while (QEvent::registerEventType(-1) != -1)
        ++registeredBefore;
}

} // namespace

/// A process in which Qt has no event number left.
class tst_MyEventExhausted : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void holdsMinusOneInEachType();
    void canStillBeMade();
};

void tst_MyEventExhausted::holdsMinusOneInEachType()
{
    QVERIFY(registeredBefore > 10);
    QCOMPARE(int(MyEvent::m_BeginRequestEvent), -1);
    QCOMPARE(int(MyEvent::m_BroadcastBeginRequestEvent), -1);
    QCOMPARE(int(MyEvent::m_BroadcastRecvedReplyEvent), -1);
    QCOMPARE(int(MyEvent::m_NotifyRegisterErrEvent), -1);
    QCOMPARE(int(MyEvent::m_BeginConnectEquipment), -1);
    QCOMPARE(int(MyEvent::m_CompleteConnectEquipment), -1);
    QCOMPARE(int(MyEvent::m_BeginConnectAllController), -1);
    QCOMPARE(int(MyEvent::m_CompleteConnectAllController), -1);
    QCOMPARE(int(MyEvent::m_EquipmentChangeEvent), -1);
    QCOMPARE(int(MyEvent::m_CompleteRequestEvent), -1);
}

void tst_MyEventExhausted::canStillBeMade()
{
    const MyEvent event(MyEvent::m_EquipmentChangeEvent, this, nullptr, nullptr);
    QCOMPARE(event.m_target, static_cast<void *>(this));
    QCOMPARE(quint16(event.type()), quint16(0xFFFF));
}

KSPROXY_TEST_MAIN(tst_MyEventExhausted)
#include "tst_MyEventExhausted.moc"
