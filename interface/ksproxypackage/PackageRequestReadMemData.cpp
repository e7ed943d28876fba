#include "PackageRequestReadMemData.h"

PackageRequestReadMemData::PackageRequestReadMemData()
    : PackageRequestRead(2)
{ }

PackageRequestReadMemData::~PackageRequestReadMemData() = default;
