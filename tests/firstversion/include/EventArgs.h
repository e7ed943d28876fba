#ifndef EVENTARGS_H
#define EVENTARGS_H

#include "ksproxyinterface_export.h"

#include <QMetaType>
#include <QString>

class PackageBase;

/// What the interface's signals carry besides the sender. The four classes are plain values
/// without virtual operations: copy them freely and delete each as what it is.
class KSPROXYINTERFACE_EXPORT EventArgs
{
public:
    /// Converts from a number without a word, as applications rely on.
    EventArgs(int value = 0);

    ///@{
    /// 15 in every signal that the library raises with a value of its own; what the value means is
    /// the application's affair.
    int value() const;
    void setValue(int value);
    ///@}

private:
    qint32 m_value;
};

/// Of `BeginConnectEquipment` and `CompleteConnectEquipment`.
class KSPROXYINTERFACE_EXPORT ConnectEquipmentEventArgs : public EventArgs
{
public:
    ConnectEquipmentEventArgs();

    ///@{
    /// Name of the port that is being connected; empty in a new object.
    QString portNam() const;
    void setPortNam(const QString &name);
    ///@}

private:
    QString m_portName;
};

/// Of `NotifyRegisterErrEvent`.
class KSPROXYINTERFACE_EXPORT NotifyRegisterErrorEventArgs : public EventArgs
{
public:
    NotifyRegisterErrorEventArgs();

    ///@{
    /// The number of the message that said so, as a text: "3"; empty in a new object.
    QString errInfo() const;
    void setErrInfo(const QString &text);
    ///@}

private:
    QString m_errorInfo;
};

/// Of `CallBackBroadcastRecvedReplyEvent`.
class KSPROXYINTERFACE_EXPORT CompletePackageRequestEventArgs : public EventArgs
{
public:
    CompletePackageRequestEventArgs();

    ///@{
    /// The package that arrived; null in a new object. Not owned: the proxy releases it with
    /// `deleteLater` after the signal, so copy what must live longer.
    PackageBase *request() const;
    void setRequest(PackageBase *request);
    ///@}

private:
    PackageBase *m_request = nullptr;
};

Q_DECLARE_METATYPE(EventArgs)
Q_DECLARE_METATYPE(ConnectEquipmentEventArgs)
Q_DECLARE_METATYPE(NotifyRegisterErrorEventArgs)
Q_DECLARE_METATYPE(CompletePackageRequestEventArgs)

#endif
