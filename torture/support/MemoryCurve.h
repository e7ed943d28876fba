#ifndef MEMORYCURVE_H
#define MEMORYCURVE_H

#include "ProcessSample.h"

#include <QList>
#include <QString>

/// What this process holds over time, and the straight line that fits it best.
class MemoryCurve
{
public:
    struct Point
    {
        double seconds = 0;
        qint64 requests = 0; ///< so far
        int losses = 0; ///< so far
        ProcessSample sample;
    };

    void add(const Point &point);
    const QList<Point> &points() const;

    /// Bytes per second by least squares over the points from \a fromSeconds on; 0 when they are
    /// fewer than two.
    double slope(qint64 ProcessSample::*what, double fromSeconds) const;

    /// False when the file cannot be written.
    bool writeCsv(const QString &fileName) const;

private:
    QList<Point> m_points;
};

#endif
