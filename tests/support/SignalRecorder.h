#ifndef SIGNALRECORDER_H
#define SIGNALRECORDER_H

#include "IKVTServerBaseProxy.h"

#include <QStringList>
#include <QThread>

/// Everything that a proxy raises, as texts: the signal, the sender, what it carries.
class SignalRecorder : public QObject
{
public:
    explicit SignalRecorder(IKVTServerBaseProxy *proxy)
    {
        using Proxy = IKVTServerBaseProxy;
        connect(
            proxy, &Proxy::EquipmentChangeEvent, this,
            [this](void *sender, const EventArgs &args) {
                add("EquipmentChangeEvent", sender, QString::number(args.value()));
            },
            Qt::DirectConnection);
        connect(
            proxy, &Proxy::BeginConnectEquipment, this,
            [this](void *sender, const ConnectEquipmentEventArgs &args) {
                add("BeginConnectEquipment", sender, args.portNam());
            },
            Qt::DirectConnection);
        connect(
            proxy, &Proxy::NotifyRegisterErrEvent, this,
            [this](void *sender, const NotifyRegisterErrorEventArgs &args) {
                add("NotifyRegisterErrEvent", sender, args.errInfo());
            },
            Qt::DirectConnection);
        connect(
            proxy, &Proxy::CompleteConnectEquipment, this,
            [this](void *sender, const ConnectEquipmentEventArgs &args) {
                add("CompleteConnectEquipment", sender, args.portNam());
            },
            Qt::DirectConnection);
        connect(
            proxy, &Proxy::BeginConnectAllController, this,
            [this](void *sender, const EventArgs &args) {
                add("BeginConnectAllController", sender, QString::number(args.value()));
            },
            Qt::DirectConnection);
        connect(
            proxy, &Proxy::CompleteConnectAllController, this,
            [this](void *sender, const EventArgs &args) {
                add("CompleteConnectAllController", sender, QString::number(args.value()));
            },
            Qt::DirectConnection);
        connect(
            proxy, &Proxy::CallBackBroadcastRecvedReplyEvent, this,
            [this](void *sender, const CompletePackageRequestEventArgs &) {
                add("CallBackBroadcastRecvedReplyEvent", sender, QString());
            },
            Qt::DirectConnection);
    }

    QStringList raised;
    QThread *thread = nullptr;

private:
    void add(const char *name, void *sender, const QString &content)
    {
        thread = QThread::currentThread();
        raised.append(QStringLiteral("%1(%2, %3)")
                          .arg(QLatin1String(name))
                          .arg(reinterpret_cast<quintptr>(sender))
                          .arg(content));
    }
};

#endif
