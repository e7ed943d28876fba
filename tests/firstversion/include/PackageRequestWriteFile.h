#ifndef PACKAGEREQUESTWRITEFILE_H
#define PACKAGEREQUESTWRITEFILE_H

#include "PackageRequestWrite.h"

/// Writes a file of the equipment. `SendRequestWriteFile` does not send it,
/// `SendPackageMessage` does; the proxy makes one from a reply of its kind.
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
