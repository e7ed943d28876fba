#include "MemoryCurve.h"

#include <QFile>
#include <QTextStream>

void MemoryCurve::add(const Point &point)
{
    m_points.append(point);
}

const QList<MemoryCurve::Point> &MemoryCurve::points() const
{
    return m_points;
}

double MemoryCurve::slope(qint64 ProcessSample::*what, double fromSeconds) const
{
    double count = 0;
    double sumX = 0;
    double sumY = 0;
    double sumXX = 0;
    double sumXY = 0;
    for (const Point &point : m_points) {
        if (point.seconds < fromSeconds)
            continue;
        const double x = point.seconds - fromSeconds;
        const auto y = static_cast<double>(point.sample.*what);
        count += 1;
        sumX += x;
        sumY += y;
        sumXX += x * x;
        sumXY += x * y;
    }
    const double spread = count * sumXX - sumX * sumX;
    return spread > 0 ? (count * sumXY - sumX * sumY) / spread : 0;
}

bool MemoryCurve::writeCsv(const QString &fileName) const
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QTextStream stream(&file);
    stream << "seconds,resident_bytes,heap_bytes,descriptors,requests,losses\n";
    for (const Point &point : m_points)
        stream << QString::number(point.seconds, 'f', 1) << ',' << point.sample.residentBytes << ','
               << point.sample.heapBytes << ',' << point.sample.descriptors << ',' << point.requests
               << ',' << point.losses << '\n';
    stream.flush();
    return file.error() == QFileDevice::NoError;
}
