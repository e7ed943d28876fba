#include "PackageRequestRead.h"

#include "PackageFields.h"

PackageRequestRead::PackageRequestRead(int clientPackageType)
    : PackageBase(ReadCode, clientPackageType)
{ }

PackageRequestRead::~PackageRequestRead() = default;

int PackageRequestRead::getReadLength() const
{
    return fields().readLength;
}

void PackageRequestRead::setReadLength(int bytes)
{
    fields().readLength = bytes;
}

int PackageRequestRead::getReplyDataLength() const
{
    return fields().replyDataLength;
}

void PackageRequestRead::setReplyDataLength(int bytes)
{
    fields().replyDataLength = bytes;
}
