#include "PackageRequestWriteFile.h"

PackageRequestWriteFile::PackageRequestWriteFile()
    : PackageRequestWrite(1)
{ }

PackageRequestWriteFile::~PackageRequestWriteFile() = default;
