#ifndef NOTIFYSTRUCT_H
#define NOTIFYSTRUCT_H

#include "TarnEnum.h"
#include "ksproxyoldclient_export.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>

class PackageBase;

/// One entry of the proxy's send queue or notify queue: a holder of values.
///
/// Written by its producer before it is queued and read by its consumer afterwards; the queue's
/// mutex orders the two, the entry has no lock. It owns its texts, its bytes and its share of
/// `info`, never what `packe` and `reply` point to. Logs nothing and throws
/// nothing but `std::bad_alloc`.
class KSPROXYOLDCLIENT_EXPORT NotifyStruct : public QObject
{
public:
    NotifyStruct();
    ~NotifyStruct() override;

    ///@{
    /// A shared payload for users of the class; the library does not use it.
    std::shared_ptr<QByteArray> info() const;
    void setInfo(const std::shared_ptr<QByteArray> &info);
    ///@}

    ///@{
    /// A pointer for users of the class, never owned; the library does not use it.
    void *reply() const;
    void setReply(void *reply);
    ///@}

    ///@{
    /// For users of the class; the library does not use it.
    int replyType() const;
    void setReplyType(const int &type);
    ///@}

    ///@{
    /// For an incoming entry: the identifier it arrived with.
    TarnEnum::NotifyTypes notify() const;
    void setNotify(const TarnEnum::NotifyTypes &type);
    ///@}

    ///@{
    /// For an outgoing entry: the message identifier.
    TarnEnum::MessageIDs sendID() const;
    void setSendID(const TarnEnum::MessageIDs &id);
    ///@}

    ///@{
    /// The text that is sent or was received.
    QString strinfo() const;
    void setInfo(const QString &text);
    ///@}

    ///@{
    /// For users of the class; the library does not use it.
    int wndHandle() const;
    void setWndHandle(int handle);
    ///@}

    ///@{
    /// For an outgoing request: the application's package; null for a command.
    PackageBase *packe();
    void setPacke(PackageBase *package);
    ///@}

    ///@{
    /// A text of 38 characters that no other entry has, braces included.
    QString getId() const;
    void setId(const QString &id);
    ///@}

    ///@{
    /// Received bytes, or the bytes that go with an outgoing text; the latter are never sent.
    QByteArray getByteArrayInfo() const;
    void setByteArrayInfo(const QByteArray &bytes);
    ///@}

    ///@{
    /// For users of the class; the library does not use it.
    int getPId() const;
    void setPId(int id);
    ///@}

private:
    QString m_id;
    TarnEnum::NotifyTypes m_notify = TarnEnum::RegisterSuccess;
    TarnEnum::MessageIDs m_sendID = TarnEnum::RegisterClient;
    QString m_strinfo;
    std::shared_ptr<QByteArray> m_info;
    void *m_reply = nullptr;
    qint32 m_replyType = 0;
    QByteArray m_byteArrayInfo;
    qint32 m_wndHandle = 0;
    PackageBase *m_packe = nullptr;
    qint32 m_pId = 0;
};

#endif
