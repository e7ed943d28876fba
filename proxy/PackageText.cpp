#include "PackageText.h"

#include "PackageRequestReadData.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteData.h"
#include "PackageRequestWriteFile.h"

namespace {

std::unique_ptr<PackageBase> newPackage(TarnEnum::NotifyTypes type)
{
    switch (type) {
    case TarnEnum::ReplyReadData:
        return std::make_unique<PackageRequestReadData>();
    case TarnEnum::ReplyReadFile:
        return std::make_unique<PackageRequestReadFile>();
    case TarnEnum::ReplyReadMemData:
        return std::make_unique<PackageRequestReadMemData>();
    case TarnEnum::ReplyWriteData:
        return std::make_unique<PackageRequestWriteData>();
    case TarnEnum::ReplyWriteFile:
        return std::make_unique<PackageRequestWriteFile>();
    default:
        return std::make_unique<PackageBase>();
    }
}

} // namespace

std::unique_ptr<PackageBase> PackageText::read(const QString &text, TarnEnum::NotifyTypes type)
{
    std::unique_ptr<PackageBase> package = newPackage(type);
    package->fromString(text);
    return package;
}
