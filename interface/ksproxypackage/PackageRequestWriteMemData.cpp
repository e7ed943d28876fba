#include "PackageRequestWriteMemData.h"

PackageRequestWriteMemData::PackageRequestWriteMemData()
    : PackageRequestWrite(2)
{ }

PackageRequestWriteMemData::~PackageRequestWriteMemData() = default;
