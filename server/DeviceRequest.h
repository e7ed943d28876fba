#ifndef DEVICEREQUEST_H
#define DEVICEREQUEST_H

#include "TarnEnum.h"

#include <QString>

#include <memory>

class EquipmentRack;
class PackageBase;

/// A read or write request as a client sent it, and its answer once it has been carried out.
class DeviceRequest
{
public:
    /// Whether a message with that identifier is a request.
    static bool isRequest(int messageId);

    /// Empty when the text cannot be read as a whole. \a messageId must be a request's.
    static std::unique_ptr<DeviceRequest> read(int messageId, const QString &text);

    /// An empty package of the kind that such a request is.
    static std::unique_ptr<PackageBase> newPackage(int messageId);

    ~DeviceRequest();

    /// Acts on the equipment; afterwards the reply text tells how it went.
    void carryOut(EquipmentRack *rack);

    /// Makes the reply text say that the request was cancelled. It is not carried out.
    void cancel();

    /// Whether the request was a write that succeeded.
    bool hasWritten() const;

    QString connectionKey() const;
    quint64 serialNumber() const;
    TarnEnum::CommResults result() const;

    TarnEnum::NotifyTypes replyType() const;
    /// The reply to whoever asked: without the data of a write.
    QString replyText() const;
    /// For the other clients: with the data that was written, and what kind of reply it is.
    QString broadcastText() const;

private:
    DeviceRequest(int messageId, std::unique_ptr<PackageBase> package);
    Q_DISABLE_COPY_MOVE(DeviceRequest)

    bool isWrite() const;
    TarnEnum::CommResults actOn(EquipmentRack *rack);

    int m_messageId;
    std::unique_ptr<PackageBase> m_package;
};

#endif
