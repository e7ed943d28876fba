#ifndef LINEREADER_H
#define LINEREADER_H

#include <QByteArray>

/// Cuts a stream of bytes into lines. Of a line that is too long it keeps nothing but the fact.
class LineReader
{
public:
    enum class Line { None, Whole, TooLong };

    static constexpr int LongestLine = 1024 * 1024;

    void append(const QByteArray &bytes);

    /// Takes the next line off the front, without its end; "\r\n" ends one, too. A line that is too
    /// long is told once, as soon as it is known, and passed over.
    Line take(QByteArray *line);

private:
    QByteArray m_buffer;
    bool m_isPassingOver = false;
};

#endif
