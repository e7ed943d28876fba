#include "PackageRequestWriteData.h"

PackageRequestWriteData::PackageRequestWriteData()
    : PackageRequestWrite(0)
{ }

PackageRequestWriteData::~PackageRequestWriteData() = default;
