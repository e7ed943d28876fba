#include "MyEvent.h"
#include "TestMain.h"

#include <QTest>

#include <cstring>

namespace {

int registeredBefore = 0;

// Runs before the initialisers of the static members: what is left to them is nothing.
__attribute__((constructor(101))) void takeAllNumbers()
{
    while (QEvent::registerEventType(-1) != -1)
        ++registeredBefore;
}

// Byte by byte: -1 is no value of the enumeration, so an ordinary read of it would be undefined.
int number(const QEvent::Type &type)
{
    int value = 0;
    static_assert(sizeof value == sizeof type);
    std::memcpy(&value, &type, sizeof value);
    return value;
}

} // namespace

/// A process in which Qt has no event number left.
class tst_MyEventExhausted : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void holdsMinusOneInEachType();
};

void tst_MyEventExhausted::holdsMinusOneInEachType()
{
    QVERIFY(registeredBefore > 10);
    QCOMPARE(number(MyEvent::m_BeginRequestEvent), -1);
    QCOMPARE(number(MyEvent::m_BroadcastBeginRequestEvent), -1);
    QCOMPARE(number(MyEvent::m_BroadcastRecvedReplyEvent), -1);
    QCOMPARE(number(MyEvent::m_NotifyRegisterErrEvent), -1);
    QCOMPARE(number(MyEvent::m_BeginConnectEquipment), -1);
    QCOMPARE(number(MyEvent::m_CompleteConnectEquipment), -1);
    QCOMPARE(number(MyEvent::m_BeginConnectAllController), -1);
    QCOMPARE(number(MyEvent::m_CompleteConnectAllController), -1);
    QCOMPARE(number(MyEvent::m_EquipmentChangeEvent), -1);
    QCOMPARE(number(MyEvent::m_CompleteRequestEvent), -1);
}

KSPROXY_TEST_MAIN(tst_MyEventExhausted)
#include "tst_MyEventExhausted.moc"
