#ifndef PACKAGEREQUESTWRITEFILE_H
#define PACKAGEREQUESTWRITEFILE_H

#include "PackageRequestWrite.h"

/// Writes a file of the equipment. The proxy does not send it; it makes one from a reply of its
/// kind.
class KSPROXYPACKAGE_EXPORT PackageRequestWriteFile : public PackageRequestWrite
{
public:
    PackageRequestWriteFile();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestWriteFile(const PackageRequestWriteFile &other) = default;
    PackageRequestWriteFile &operator=(const PackageRequestWriteFile &other) = default;
    ///@}
    ~PackageRequestWriteFile() override;
};

#endif
