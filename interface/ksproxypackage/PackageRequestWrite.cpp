#include "PackageRequestWrite.h"

#include "PackageFields.h"

PackageRequestWrite::PackageRequestWrite(int clientPackageType)
    : PackageBase(WriteCode, clientPackageType)
{ }

PackageRequestWrite::~PackageRequestWrite() = default;

int PackageRequestWrite::getClientPackageType() const
{
    return fields().clientPackageType;
}
