#ifndef PACKAGEREQUESTWRITEMEMDATA_H
#define PACKAGEREQUESTWRITEMEMDATA_H

#include "PackageRequestWrite.h"

/// Writes the equipment's memory. `SendRequestWriteMemData` does not support it.
class KSPROXYPACKAGE_EXPORT PackageRequestWriteMemData : public PackageRequestWrite
{
public:
    PackageRequestWriteMemData();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestWriteMemData(const PackageRequestWriteMemData &other) = default;
    PackageRequestWriteMemData &operator=(const PackageRequestWriteMemData &other) = default;
    ///@}
    ~PackageRequestWriteMemData() override;
};

#endif
