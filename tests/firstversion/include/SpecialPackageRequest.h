#ifndef SPECIALPACKAGEREQUEST_H
#define SPECIALPACKAGEREQUEST_H

#include "PackageBase.h"

/// An order for the server in words of the application's own choosing, sent with
/// `KVTServerMessageOldProxy::SendRequestOrder`. It is neither kept nor completed by the proxy.
class KSPROXYPACKAGE_EXPORT SpecialPackageRequest : public PackageBase
{
public:
    SpecialPackageRequest();
    ///@{
    /// The copy has the order too.
    SpecialPackageRequest(const SpecialPackageRequest &other) = default;
    SpecialPackageRequest &operator=(const SpecialPackageRequest &other) = default;
    ///@}
    ~SpecialPackageRequest() override;

    /// UTF-8; the proxy sends it up to the first zero byte.
    void setOrder(const QByteArray &order);

    /// The order's own bytes, nothing else.
    QByteArray toByteArray() const override;

private:
    QByteArray m_order;
};

#endif
