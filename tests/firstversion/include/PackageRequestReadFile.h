#ifndef PACKAGEREQUESTREADFILE_H
#define PACKAGEREQUESTREADFILE_H

#include "PackageRequestRead.h"

/// Reads a file of the equipment. The proxy does not send it; it makes one from a reply of its
/// kind.
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
