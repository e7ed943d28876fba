#include "KVTServerMessageOldProxy.h"

#include "Guarded.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"

namespace {

constexpr int ReadCode = 0;
constexpr int WriteCode = 1;

constexpr int DataKind = 0;
constexpr int FileKind = 1;
constexpr int MemDataKind = 2;

/// The numbers under which one kind of request is sent and answered.
struct RequestKind
{
    int readWriteCode;
    int clientPackageType;
    TarnEnum::MessageIDs messageId;
    TarnEnum::NotifyTypes replyType;
};

constexpr RequestKind RequestKinds[] = {
    {ReadCode, DataKind, TarnEnum::RequestReadData, TarnEnum::ReplyReadData},
    {ReadCode, FileKind, TarnEnum::RequestReadFile, TarnEnum::ReplyReadFile},
    {ReadCode, MemDataKind, TarnEnum::RequestReadMemData, TarnEnum::ReplyReadMemData},
    {WriteCode, DataKind, TarnEnum::RequestWriteData, TarnEnum::ReplyWriteData},
    {WriteCode, FileKind, TarnEnum::RequestWriteFile, TarnEnum::ReplyWriteFile},
    {WriteCode, MemDataKind, TarnEnum::RequestWriteMemData, TarnEnum::ReplyWriteMemData},
};

// Null for a package of no known kind. A write request is asked through its own class, whose
// getClientPackageType is the one that counts.
const RequestKind *kindOf(const PackageBase &package)
{
    const int code = package.getReadWriteCode();
    int type = package.getClientPackageType();
    if (code == WriteCode) {
        const auto *const write = dynamic_cast<const PackageRequestWrite *>(&package);
        if (write == nullptr)
            return nullptr; // claims to be a write request and is none
        type = write->getClientPackageType();
    }
    for (const RequestKind &kind : RequestKinds) {
        if (kind.readWriteCode == code && kind.clientPackageType == type)
            return &kind;
    }
    return nullptr;
}

// A connection key that is not in the equipment table is no reason to refuse a package, here and
// in the byte form: the server knows better than a copy of its table and answers the request.
void writeText(const PackageBase *package, TarnEnum::MessageIDs *id, QString *text)
{
    if (package == nullptr)
        return;
    const RequestKind *const kind = kindOf(*package);
    *text = kind != nullptr ? package->toRequestString() : QString(QLatin1String(""));
    // An unknown kind goes out as a read-data request without text, for the server to refuse.
    *id = kind != nullptr ? kind->messageId : TarnEnum::RequestReadData;
}

} // namespace

bool KVTServerMessageOldProxy::SendRequestReadData(PackageRequestReadData *package)
{
    return isRegisted() && package->getReadLength() >= 1 && SendPackageMessage(package);
}

// Unlike a read, a write of nothing is sent: the server answers whether the equipment is there.
bool KVTServerMessageOldProxy::SendRequestWriteData(PackageRequestWriteData *package)
{
    return isRegisted() && package->getDataLength() >= 0 && SendPackageMessage(package);
}

bool KVTServerMessageOldProxy::SendPackageMessage(PackageBase *package)
{
    // Kept unless the package type is text: the request then goes out as what looks like a cancel
    // command without an argument. The byte form is deliberately not used in its place.
    TarnEnum::MessageIDs id = TarnEnum::CancelOneSend;
    return guarded([&] {
        QString text;
        if (m_packageType == TarnEnum::TextPackage)
            writeText(package, &id, &text);
        auto entry = std::make_unique<NotifyStruct>();
        entry->setSendID(id);
        entry->setInfo(text);
        entry->setPacke(package);
        entry->setByteArrayInfo(QByteArray());
        enqueueOutgoing(std::move(entry));
    });
}

void KVTServerMessageOldProxy::ParseSendPackageInfo(PackageBase *package, TarnEnum::MessageIDs *id,
                                                    QString *text)
{
    guarded([&] { writeText(package, id, text); });
}

void KVTServerMessageOldProxy::ParseSendPackageQByteArrayInfo(PackageBase *package,
                                                              TarnEnum::MessageIDs *id,
                                                              QByteArray *bytes)
{
    if (package == nullptr)
        return;
    const RequestKind *const kind = kindOf(*package);
    guarded([&] {
        if (kind == nullptr)
            *bytes = QByteArray("");
        else if (kind->readWriteCode == WriteCode && kind->clientPackageType != DataKind)
            *bytes = package->toRequestString().toLatin1(); // servers take these two as text only
        else
            *bytes = package->toByteArray();
        *id = kind != nullptr ? kind->messageId : TarnEnum::RequestReadData;
    });
}

void KVTServerMessageOldProxy::ParsePackageInfo(PackageBase *package, TarnEnum::NotifyTypes *type,
                                                QString *text)
{
    const RequestKind *const kind = kindOf(*package);
    guarded([&] {
        *text = kind != nullptr ? package->toReplyString() : QString(QLatin1String(""));
        *type = kind != nullptr ? kind->replyType : TarnEnum::BroadcastReply;
    });
}
