#ifndef PACKAGEREQUESTREADFILE_H
#define PACKAGEREQUESTREADFILE_H

#include "PackageRequestRead.h"

/// Reads a file of the equipment. `SendRequestReadFile` does not send it,
/// `SendPackageMessage` does; the proxy makes one from a reply of its kind.
class KSPROXYPACKAGE_EXPORT PackageRequestReadFile : public PackageRequestRead
{
public:
    PackageRequestReadFile();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestReadFile(const PackageRequestReadFile &other) = default;
    PackageRequestReadFile &operator=(const PackageRequestReadFile &other) = default;
    ///@}
    ~PackageRequestReadFile() override;
};

#endif
