#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "MyEvent.h"
#include "NotificationValue.h"

#include <QCoreApplication>

#include <memory>
#include <utility>

namespace {

template <typename Args>
Args argumentsOf(const MyEvent &event)
{
    return event.m_args != nullptr ? *static_cast<Args *>(event.m_args) : Args();
}

// Deletes the arguments in the end, whatever the slots do.
template <typename Args>
std::unique_ptr<Args> takeArguments(MyEvent *event)
{
    return std::unique_ptr<Args>(static_cast<Args *>(std::exchange(event->m_args, nullptr)));
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
    const auto args = takeArguments<NotifyRegisterErrorEventArgs>(event);
    Q_EMIT target->NotifyRegisterErrEvent(event->m_sender, *args);
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
    const auto args = takeArguments<EventArgs>(event);
    Q_EMIT target->BeginConnectAllController(event->m_sender, args ? *args : EventArgs());
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
        guarded([&] { raise(target, myEvent); });
    return true;
}

bool KVTServerMessageOldProxy::postToSelf(QEvent::Type type, void *sender, void *args)
{
    auto *const target = static_cast<IKVTServerBaseProxy *>(this);
    return guardedTwice([&] {
        QCoreApplication::postEvent(this, new MyEvent(type, target, sender, args),
                                    Qt::HighEventPriority);
    });
}

void KVTServerMessageOldProxy::OnNotifyRegisterErr(void *sender, NotifyRegisterErrorEventArgs *args)
{
    if (!postToSelf(MyEvent::m_NotifyRegisterErrEvent, sender, args))
        delete args;
}

void KVTServerMessageOldProxy::OnBeginConnectEquipment(void *sender,
                                                       ConnectEquipmentEventArgs *args)
{
    guarded([&] { Q_EMIT BeginConnectEquipment(sender, *args); });
}

void KVTServerMessageOldProxy::OnBeginConnectAllController(void *sender, EventArgs *args)
{
    if (!postToSelf(MyEvent::m_BeginConnectAllController, sender, args))
        delete args;
}

void KVTServerMessageOldProxy::OnEquipmentChangeEvent(void *sender, EventArgs *args)
{
    guarded([&] { Q_EMIT EquipmentChangeEvent(sender, *args); });
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
    guarded([&] {
        auto args = std::make_unique<ConnectEquipmentEventArgs>();
        args->setPortNam(portName);
        if (postToSelf(MyEvent::m_CompleteConnectEquipment, sender, args.get()))
            static_cast<void>(args.release()); // not released: event leaves it alone
    });
}

void KVTServerMessageOldProxy::TimeOut()
{
    Log::critical("KVTServerMessageOldProxy::TimeOut not support");
}
