#include "PackageRequestReadFile.h"

PackageRequestReadFile::PackageRequestReadFile()
    : PackageRequestRead(1)
{ }

PackageRequestReadFile::~PackageRequestReadFile() = default;
