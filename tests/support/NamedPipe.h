#ifndef NAMEDPIPE_H
#define NAMEDPIPE_H

#include <QString>

/// A pipe with a file name in the test's folder, whose reader goes away when it is told to. (A
/// QProcess keeps its end of its own pipes open.)
class NamedPipe
{
public:
    NamedPipe();
    ~NamedPipe();

    /// The file that a process opens to write.
    QString fileName() const;

    /// Whether something has been written and not been read.
    bool isFilled() const;
    /// Ends the reader without reading.
    void closeReader();

private:
    Q_DISABLE_COPY_MOVE(NamedPipe)

    const QString m_fileName;
    int m_reader = -1;
};

#endif
