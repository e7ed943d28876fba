#include "PackageRequestReadData.h"

PackageRequestReadData::PackageRequestReadData()
    : PackageRequestRead(0)
{ }

PackageRequestReadData::~PackageRequestReadData() = default;
