#include "SpecialPackageRequest.h"

SpecialPackageRequest::SpecialPackageRequest() = default;

SpecialPackageRequest::~SpecialPackageRequest() = default;

void SpecialPackageRequest::setOrder(const QByteArray &order)
{
    m_order = order;
}

QByteArray SpecialPackageRequest::toByteArray() const
{
    return m_order;
}
