#ifndef PACKAGEREQUESTREADMEMDATA_H
#define PACKAGEREQUESTREADMEMDATA_H

#include "PackageRequestRead.h"

/// Reads the equipment's memory. `SendRequestReadMemData` does not support it; the proxy makes one
/// from a reply of its kind.
class KSPROXYPACKAGE_EXPORT PackageRequestReadMemData : public PackageRequestRead
{
public:
    PackageRequestReadMemData();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestReadMemData(const PackageRequestReadMemData &other) = default;
    PackageRequestReadMemData &operator=(const PackageRequestReadMemData &other) = default;
    ///@}
    ~PackageRequestReadMemData() override;
};

#endif
