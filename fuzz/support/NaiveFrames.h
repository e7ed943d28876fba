#ifndef NAIVEFRAMES_H
#define NAIVEFRAMES_H

#include <QByteArray>
#include <QVector>

/// The frames of a whole stream, read at once and as plainly as the rules say it: what a reader of
/// pieces must come to.
struct NaiveFrames
{
    explicit NaiveFrames(const QByteArray &stream);

    QVector<QByteArray> payloads;
    QVector<int> ends; ///< of each frame, in bytes from the start of the stream
};

#endif
