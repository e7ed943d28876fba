#include "MyEvent.h"

namespace {

QEvent::Type nextType()
{
    return static_cast<QEvent::Type>(QEvent::registerEventType(-1));
}

} // namespace

const QEvent::Type MyEvent::m_BeginRequestEvent = nextType();
const QEvent::Type MyEvent::m_BroadcastBeginRequestEvent = nextType();
const QEvent::Type MyEvent::m_BroadcastRecvedReplyEvent = nextType();
const QEvent::Type MyEvent::m_NotifyRegisterErrEvent = nextType();
const QEvent::Type MyEvent::m_BeginConnectEquipment = nextType();
const QEvent::Type MyEvent::m_CompleteConnectEquipment = nextType();
const QEvent::Type MyEvent::m_BeginConnectAllController = nextType();
const QEvent::Type MyEvent::m_CompleteConnectAllController = nextType();
const QEvent::Type MyEvent::m_EquipmentChangeEvent = nextType();
const QEvent::Type MyEvent::m_CompleteRequestEvent = nextType();

MyEvent::MyEvent(QEvent::Type type, void *target, void *sender, void *args)
    : QEvent(type)
    , m_target(target)
    , m_sender(sender)
    , m_args(args)
{ }

MyEvent::~MyEvent() = default;
