#ifndef PACKAGEREQUESTWRITEDATA_H
#define PACKAGEREQUESTWRITEDATA_H

#include "PackageRequestWrite.h"

/// Writes data to a piece of equipment. No data at all is a valid request.
class KSPROXYPACKAGE_EXPORT PackageRequestWriteData : public PackageRequestWrite
{
public:
    PackageRequestWriteData();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestWriteData(const PackageRequestWriteData &other) = default;
    PackageRequestWriteData &operator=(const PackageRequestWriteData &other) = default;
    ///@}
    ~PackageRequestWriteData() override;
};

#endif
