#ifndef PACKAGEREQUESTREADDATA_H
#define PACKAGEREQUESTREADDATA_H

#include "PackageRequestRead.h"

/// Reads data from a piece of equipment. The proxy recognises it by its exact type: in byte-array
/// mode a class derived from it gets no reply data.
class KSPROXYPACKAGE_EXPORT PackageRequestReadData : public PackageRequestRead
{
public:
    PackageRequestReadData();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestReadData(const PackageRequestReadData &other) = default;
    PackageRequestReadData &operator=(const PackageRequestReadData &other) = default;
    ///@}
    ~PackageRequestReadData() override;
};

#endif
