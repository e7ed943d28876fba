#ifndef ROUNDTRIPS_H
#define ROUNDTRIPS_H

#include <QJsonObject>
#include <QString>
#include <QVector>

/// How long requests took, in milliseconds, and how many failed.
class RoundTrips
{
public:
    void add(double milliseconds);
    void addFailure();

    /// Of those that did not fail; 0 when all did. The smallest value that at least \a share (0 to
    /// 1) of them do not exceed.
    double quantile(double share) const;

    QString text() const;
    QJsonObject json() const;

private:
    QVector<double> m_times; ///< in ascending order
    int m_failures = 0;
};

#endif
