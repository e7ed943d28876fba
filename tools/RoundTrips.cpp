#include "RoundTrips.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double Median = 0.5;
constexpr double Percentile99 = 0.99;

QString milliseconds(double value)
{
    return QString::number(value, 'f', 2);
}

} // namespace

void RoundTrips::add(double milliseconds)
{
    m_times.insert(std::upper_bound(m_times.begin(), m_times.end(), milliseconds), milliseconds);
}

void RoundTrips::addFailure()
{
    ++m_failures;
}

double RoundTrips::quantile(double share) const
{
    if (m_times.isEmpty())
        return 0;
    const int rank = static_cast<int>(std::ceil(share * m_times.size()));
    return m_times.at(qBound(1, rank, m_times.size()) - 1);
}

QString RoundTrips::text() const
{
    QString text = QStringLiteral("%1 requests, %2 failed\n")
                       .arg(m_times.size() + m_failures)
                       .arg(m_failures);
    if (!m_times.isEmpty())
        text += QStringLiteral("minimum %1, median %2, 99th percentile %3, maximum %4 ms\n")
                    .arg(milliseconds(quantile(0)), milliseconds(quantile(Median)),
                         milliseconds(quantile(Percentile99)), milliseconds(quantile(1)));
    return text;
}

QJsonObject RoundTrips::json() const
{
    QJsonObject object{{QStringLiteral("count"), m_times.size() + m_failures},
                       {QStringLiteral("failures"), m_failures}};
    if (m_times.isEmpty())
        return object;
    object.insert(QStringLiteral("minimumMs"), quantile(0));
    object.insert(QStringLiteral("medianMs"), quantile(Median));
    object.insert(QStringLiteral("percentile99Ms"), quantile(Percentile99));
    object.insert(QStringLiteral("maximumMs"), quantile(1));
    return object;
}
