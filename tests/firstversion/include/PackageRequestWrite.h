#ifndef PACKAGEREQUESTWRITE_H
#define PACKAGEREQUESTWRITE_H

#include "PackageBase.h"

/// Base of the write requests; what is written is set with `setData`.
class KSPROXYPACKAGE_EXPORT PackageRequestWrite : public PackageBase
{
public:
    ~PackageRequestWrite() override;

    /// Hides the base's operation on purpose: the proxy names this class when it asks a write
    /// request for its kind.
    int getClientPackageType() const;

protected:
    /// For the kinds of write request.
    explicit PackageRequestWrite(int clientPackageType);
    ///@{
    /// As `PackageBase` copies.
    PackageRequestWrite(const PackageRequestWrite &other) = default;
    PackageRequestWrite &operator=(const PackageRequestWrite &other) = default;
    ///@}
};

#endif
