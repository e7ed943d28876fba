#ifndef PACKAGEREQUESTCOMBINATION_H
#define PACKAGEREQUESTCOMBINATION_H

#include "PackageBase.h"

/// Several requests in one. It exists because the interface names it; the proxy does not support
/// it.
class KSPROXYPACKAGE_EXPORT PackageRequestCombination : public PackageBase
{
public:
    PackageRequestCombination();
    ///@{
    /// As `PackageBase` copies.
    PackageRequestCombination(const PackageRequestCombination &other) = default;
    PackageRequestCombination &operator=(const PackageRequestCombination &other) = default;
    ///@}
    ~PackageRequestCombination() override;
};

#endif
