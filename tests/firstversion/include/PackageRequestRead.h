#ifndef PACKAGEREQUESTREAD_H
#define PACKAGEREQUESTREAD_H

#include "PackageBase.h"

/// Base of the read requests: what they ask for and how much came back.
class KSPROXYPACKAGE_EXPORT PackageRequestRead : public PackageBase
{
public:
    ~PackageRequestRead() override;

    ///@{
    /// Bytes to read; 0 in a new package. The proxy refuses a read-data request of less than 1.
    virtual int getReadLength() const;
    void setReadLength(int bytes);
    ///@}

    ///@{
    /// Bytes that came back. Set by the proxy on the pending request in byte-array mode only;
    /// otherwise ask the reply for its data.
    int getReplyDataLength() const;
    void setReplyDataLength(int bytes);
    ///@}

protected:
    /// For the kinds of read request.
    explicit PackageRequestRead(int clientPackageType);
    ///@{
    /// As `PackageBase` copies.
    PackageRequestRead(const PackageRequestRead &other) = default;
    PackageRequestRead &operator=(const PackageRequestRead &other) = default;
    ///@}
};

#endif
