#include "KVTServerMessageOldProxy.h"

#include "MyEvent.h"
#include "NotificationValue.h"

#include <QCoreApplication>
#include <QDebug>

namespace {

template <typename Args>
Args argumentsOf(const MyEvent &event)
{
    return event.m_args != nullptr ? *static_cast<Args *>(event.m_args) : Args();
}

template <typename Args>
void deleteArguments(MyEvent *event)
{
    delete static_cast<Args *>(event->m_args);
    event->m_args = nullptr;
}

// Consumed without effect: requests are completed by the loops, never through an event.
void consume(IKVTServerBaseProxy *target, MyEvent *event)
{
    Q_UNUSED(target)
    Q_UNUSED(event)
}

// Without arguments there is no error to report, so nothing is raised.
void raiseRegisterError(IKVTServerBaseProxy *target, MyEvent *event)
{
    if (event->m_args == nullptr)
        return;
    Q_EMIT target->NotifyRegisterErrEvent(event->m_sender,
                                          argumentsOf<NotifyRegisterErrorEventArgs>(*event));
    deleteArguments<NotifyRegisterErrorEventArgs>(event);
}

void raiseBeginConnectEquipment(IKVTServerBaseProxy *target, MyEvent *event)
{
    Q_EMIT target->BeginConnectEquipment(event->m_sender,
                                         argumentsOf<ConnectEquipmentEventArgs>(*event));
}

void raiseCompleteConnectEquipment(IKVTServerBaseProxy *target, MyEvent *event)
{
    Q_EMIT target->CompleteConnectEquipment(event->m_sender,
                                            argumentsOf<ConnectEquipmentEventArgs>(*event));
}

void raiseBeginConnectAllController(IKVTServerBaseProxy *target, MyEvent *event)
{
    Q_EMIT target->BeginConnectAllController(event->m_sender, argumentsOf<EventArgs>(*event));
    deleteArguments<EventArgs>(event);
}

// The event's argument is not looked at: it may be gone by now.
void raiseCompleteConnectAllController(IKVTServerBaseProxy *target, MyEvent *event)
{
    Q_EMIT target->CompleteConnectAllController(event->m_sender, EventArgs(NotificationValue));
}

void raiseEquipmentChange(IKVTServerBaseProxy *target, MyEvent *event)
{
    Q_EMIT target->EquipmentChangeEvent(event->m_sender, argumentsOf<EventArgs>(*event));
}

using Raise = void (*)(IKVTServerBaseProxy *, MyEvent *);

// Null for a type that is not delivered here.
Raise raiseFor(QEvent::Type type)
{
    static const struct
    {
        QEvent::Type type;
        Raise raise;
    } signalTypes[] = {
        {MyEvent::m_CompleteRequestEvent, consume},
        {MyEvent::m_BeginRequestEvent, consume},
        {MyEvent::m_NotifyRegisterErrEvent, raiseRegisterError},
        {MyEvent::m_BeginConnectEquipment, raiseBeginConnectEquipment},
        {MyEvent::m_CompleteConnectEquipment, raiseCompleteConnectEquipment},
        {MyEvent::m_BeginConnectAllController, raiseBeginConnectAllController},
        {MyEvent::m_CompleteConnectAllController, raiseCompleteConnectAllController},
        {MyEvent::m_EquipmentChangeEvent, raiseEquipmentChange},
    };
    for (const auto &known : signalTypes) {
        if (known.type == type)
            return known.raise;
    }
    return nullptr;
}

} // namespace

bool KVTServerMessageOldProxy::event(QEvent *event)
{
    if (event == nullptr)
        return false;
    const Raise raise = raiseFor(event->type());
    if (raise == nullptr)
        return QObject::event(event);
    auto *const myEvent = static_cast<MyEvent *>(event);
    if (auto *const target = static_cast<IKVTServerBaseProxy *>(myEvent->m_target))
        raise(target, myEvent);
    return true;
}

void KVTServerMessageOldProxy::postToSelf(QEvent::Type type, void *sender, void *args)
{
    auto *const target = static_cast<IKVTServerBaseProxy *>(this);
    QCoreApplication::postEvent(this, new MyEvent(type, target, sender, args),
                                Qt::HighEventPriority);
}

void KVTServerMessageOldProxy::OnNotifyRegisterErr(void *sender, NotifyRegisterErrorEventArgs *args)
{
    postToSelf(MyEvent::m_NotifyRegisterErrEvent, sender, args);
}

void KVTServerMessageOldProxy::OnBeginConnectEquipment(void *sender,
                                                       ConnectEquipmentEventArgs *args)
{
    Q_EMIT BeginConnectEquipment(sender, *args);
}

void KVTServerMessageOldProxy::OnBeginConnectAllController(void *sender, EventArgs *args)
{
    postToSelf(MyEvent::m_BeginConnectAllController, sender, args);
}

void KVTServerMessageOldProxy::OnEquipmentChangeEvent(void *sender, EventArgs *args)
{
    Q_EMIT EquipmentChangeEvent(sender, *args);
}

void KVTServerMessageOldProxy::OnCompleteConnectAllControllerr(void *sender, EventArgs *args)
{
    postToSelf(MyEvent::m_CompleteConnectAllController, sender, args);
}

void KVTServerMessageOldProxy::OnCompleteConnectEquipment(void *sender, QString portName)
{
    // Narrow on purpose: a named port is reported through the equipment table, not here.
    if (portName.isNull() || !portName.isEmpty())
        return;
    auto *const args = new ConnectEquipmentEventArgs; // not released: event leaves it alone
    args->setPortNam(portName);
    postToSelf(MyEvent::m_CompleteConnectEquipment, sender, args);
}

void KVTServerMessageOldProxy::TimeOut()
{
    qCritical() << "KVTServerMessageOldProxy::TimeOut not support";
}
