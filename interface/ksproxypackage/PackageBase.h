#ifndef PACKAGEBASE_H
#define PACKAGEBASE_H

#include "TarnEnum.h"
#include "ksproxypackage_export.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

struct PackageFields;

/// A request to read or write data on a piece of equipment, and the form in which its answer
/// comes back.
///
/// Make one of the request classes, set the header and a completion handler, and hand it to the
/// proxy; the handler is called once with the reply. A package belongs to whoever made it and must
/// live until it is completed: the proxy keeps a bare pointer to it, and only
/// `KVTServerMessageOldProxy::Terminate` deletes packages, namely those that still wait for a
/// reply. A package has no lock: touch it from one thread at a time, and have it live
/// (`QObject::thread`) on the one that its handler runs on, the proxy's. Throws nothing but
/// `std::bad_alloc`, and what a completion handler throws; logs nothing but "out of memory", at
/// critical level.
///
/// \code
/// auto *request = new PackageRequestReadData;
/// request->setServerConnectionKey(QStringLiteral("COM1"));
/// request->setReadLength(16);
/// request->setCompletionHandler([request](void *, PackageBase *reply) {
///     qInfo() << reply->getCommResult() << reply->getData();
///     request->deleteLater();
/// });
/// proxy.SendRequestReadData(request);
/// \endcode
class KSPROXYPACKAGE_EXPORT PackageBase : public QObject
{
public:
    /// What is called with the proxy and the reply when a request is done.
    using CompletionHandler = std::function<void(void *sender, PackageBase *reply)>;

    /// A plain package: read/write code -1. Every construction but a copy takes the next serial
    /// number of the process; the first is 1.
    PackageBase();

    /// The copy has the header, the data and the serial number of \a other, but no parent, no
    /// completion handler and no adopted reply.
    PackageBase(const PackageBase &other);

    /// Takes over what a copy would have; the two codes, the parent, the handler and the adopted
    /// reply stay.
    PackageBase &operator=(const PackageBase &other);

    /// Releases an adopted reply with `deleteLater`.
    ~PackageBase() override;

    ///@{
    /// Where on the equipment: the upper and lower half of the address.
    quint16 getHighAddr() const;
    void setHighAddr(quint16 address);
    quint16 getLowAddr() const;
    void setLowAddr(quint16 address);
    ///@}

    ///@{
    /// Where on the equipment, as its kind has it: carried to the server, never looked at here.
    qint8 getDesAddr() const;
    void setDesAddr(qint8 address);
    int getDeviceType() const;
    void setDeviceType(int type);
    qint8 getPortAddr() const;
    void setPortAddr(qint8 address);
    ///@}

    ///@{
    /// The connection key of the equipment, a key of the equipment table. A key that is not in the
    /// table is sent all the same; the server answers it.
    QString getSeverConnectionKey() const;
    void setServerConnectionKey(const QString &key);
    ///@}

    ///@{
    /// As `getDesAddr`.
    int getReserved2() const;
    void setReserved2(int value);
    int getScanBoardAddr() const;
    void setScanBoardAddr(int address);
    qint8 getScrAddr() const;
    void setScrAddr(qint8 address);
    ///@}

    ///@{
    /// A text of the application's own; travels to the server and back.
    QString getTag() const;
    void setTag(QString tag);
    ///@}

    ///@{
    /// Milliseconds, for the server. The library keeps no time-out of its own: a request that the
    /// server never answers stays pending.
    int getTimeout() const;
    void setTimeout(int milliseconds);
    ///@}

    ///@{
    /// The application's own cookie. Never dereferenced and never sent; the reply to a request gets
    /// the request's.
    void *getUserToken() const;
    void setUserToken(void *token);
    ///@}

    /// Identity of a request within the process; a reply carries the number of its request.
    quint64 getSerialNum() const;
    /// 0 for a read request, 1 for a write request, -1 for a plain package.
    int getReadWriteCode() const;
    /// Kind within the read or write family: 0 data, 1 file, 2 memory data.
    int getClientPackageType() const;

    ///@{
    /// How the request ended; of meaning in a reply. `TarnEnum::Success` in a new package.
    TarnEnum::CommResults getCommResult() const;
    void setCommResult(TarnEnum::CommResults result);
    ///@}

    /// Bytes of data held.
    virtual int getDataLength() const;

    ///@{
    /// The data that is written, or has been read.
    virtual QByteArray getData() const;
    virtual void setData(const QByteArray &data);
    ///@}

    /// The request in its byte form, see the page on the wire protocol.
    virtual QByteArray toByteArray() const;
    /// The package as a reply text: header, result and data. ASCII only.
    virtual QString toReplyString() const;
    /// The package as a request text: header, then the read length or the data. ASCII only.
    virtual QString toRequestString() const;

    /// Takes over the fields of a request or reply text. A field that is missing keeps its value
    /// and an unknown one is passed over. A text that is empty or has a bad field sets the result
    /// to `TarnEnum::BadReply`; its good fields, above all the serial number, are taken all the
    /// same.
    virtual void fromString(QString text);

    /// Sets what `CompleteRequestEvent` calls. A handler runs once; to send the package again, set
    /// one again (also from inside the handler).
    void setCompletionHandler(CompletionHandler handler);

    /// Called by the proxy when the request is done: adopts \a reply unless it is this package,
    /// and runs the completion handler on the calling thread. What the handler throws passes
    /// through. After the handler the proxy still clears the request, so a handler that is done
    /// with it calls `deleteLater` on it. The reply lives until then, or until the request is
    /// completed again: a handler that sends it again and runs an event loop takes the reply first.
    void CompleteRequestEvent(void *sender, PackageBase *reply);

    /// Hands the adopted reply to the caller, who owns it from then on; null when there is none.
    [[nodiscard]] PackageBase *takeReply();

    /// Releases, with `deleteLater`, the reply that \a request adopted and nobody took. Null is
    /// allowed.
    static void clear(PackageBase *request);

protected:
    /// For the kinds of package: fixes the two codes.
    PackageBase(int readWriteCode, int clientPackageType);

    ///@{
    /// What the package holds, for the library's own kinds; the type is not installed.
    PackageFields &fields();
    const PackageFields &fields() const;
    ///@}

private:
    bool releaseReply();

    const std::unique_ptr<PackageFields> m_fields;
    CompletionHandler m_completionHandler;
    QPointer<PackageBase> m_reply;
};

#endif
