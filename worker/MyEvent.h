#ifndef MYEVENT_H
#define MYEVENT_H

#include <QEvent>

/// Carries a result to the proxy's own thread, where the proxy's `event` turns it into a signal.
/// It owns nothing of what its pointers point to. Post it with `Qt::HighEventPriority`.
class MyEvent : public QEvent
{
public:
    MyEvent(QEvent::Type type, void *target, void *sender, void *args);
    ~MyEvent() override;

    // Handed out by Qt when the library is loaded, in this order. Compare with these members only;
    // a member is -1 when Qt had no number left.
    static const QEvent::Type m_BeginRequestEvent;
    static const QEvent::Type m_BroadcastBeginRequestEvent;
    static const QEvent::Type m_BroadcastRecvedReplyEvent;
    static const QEvent::Type m_NotifyRegisterErrEvent;
    static const QEvent::Type m_BeginConnectEquipment;
    static const QEvent::Type m_CompleteConnectEquipment;
    static const QEvent::Type m_BeginConnectAllController;
    static const QEvent::Type m_CompleteConnectAllController;
    static const QEvent::Type m_EquipmentChangeEvent;
    static const QEvent::Type m_CompleteRequestEvent;

    void *m_target; ///< the proxy whose signal is to be raised
    void *m_sender; ///< the signal's first argument
    void *m_args; ///< the argument object, or null
};

#endif
