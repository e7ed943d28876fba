#include "KVTServerMessageOldProxy.h"

#include "MyEvent.h"

#include <QCoreApplication>
#include <QDebug>

namespace {

IKVTServerBaseProxy *targetOf(const MyEvent &event)
{
    return static_cast<IKVTServerBaseProxy *>(event.m_target);
}

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

// Without arguments there is no error to report, so nothing is raised.
void raiseRegisterError(MyEvent *event)
{
    if (event->m_target == nullptr || event->m_args == nullptr)
        return;
    const auto arguments = argumentsOf<NotifyRegisterErrorEventArgs>(*event);
    Q_EMIT targetOf(*event)->NotifyRegisterErrEvent(event->m_sender, arguments);
    deleteArguments<NotifyRegisterErrorEventArgs>(event);
}

void raiseBeginConnectAllController(MyEvent *event)
{
    if (event->m_target == nullptr)
        return;
    const auto arguments = argumentsOf<EventArgs>(*event);
    Q_EMIT targetOf(*event)->BeginConnectAllController(event->m_sender, arguments);
    deleteArguments<EventArgs>(event);
}

} // namespace

bool KVTServerMessageOldProxy::event(QEvent *event)
{
    if (event == nullptr)
        return false;
    const QEvent::Type type = event->type();
    auto *const myEvent = static_cast<MyEvent *>(event); // used below for the registered types only
    if (type == MyEvent::m_CompleteRequestEvent || type == MyEvent::m_BeginRequestEvent) {
        // Consumed without effect: requests are completed by the loops, never through an event.
        return true;
    }
    if (type == MyEvent::m_NotifyRegisterErrEvent) {
        raiseRegisterError(myEvent);
        return true;
    }
    if (type == MyEvent::m_BeginConnectEquipment) {
        if (myEvent->m_target != nullptr)
            Q_EMIT targetOf(*myEvent)->BeginConnectEquipment(
                myEvent->m_sender, argumentsOf<ConnectEquipmentEventArgs>(*myEvent));
        return true;
    }
    if (type == MyEvent::m_CompleteConnectEquipment) {
        if (myEvent->m_target != nullptr)
            Q_EMIT targetOf(*myEvent)->CompleteConnectEquipment(
                myEvent->m_sender, argumentsOf<ConnectEquipmentEventArgs>(*myEvent));
        return true;
    }
    if (type == MyEvent::m_BeginConnectAllController) {
        raiseBeginConnectAllController(myEvent);
        return true;
    }
    if (type == MyEvent::m_CompleteConnectAllController) {
        // The event's argument is not looked at: it may be gone by now.
        if (myEvent->m_target != nullptr)
            Q_EMIT targetOf(*myEvent)->CompleteConnectAllController(myEvent->m_sender,
                                                                    EventArgs(NotificationValue));
        return true;
    }
    if (type == MyEvent::m_EquipmentChangeEvent) {
        if (myEvent->m_target != nullptr)
            Q_EMIT targetOf(*myEvent)->EquipmentChangeEvent(myEvent->m_sender,
                                                            argumentsOf<EventArgs>(*myEvent));
        return true;
    }
    return QObject::event(event);
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
