#include "LineReader.h"

void LineReader::append(const QByteArray &bytes)
{
    m_buffer += bytes;
}

LineReader::Line LineReader::take(QByteArray *line)
{
    int end = m_buffer.indexOf('\n');
    if (m_isPassingOver) {
        m_isPassingOver = end < 0;
        m_buffer.remove(0, end < 0 ? m_buffer.size() : end + 1);
        end = m_buffer.indexOf('\n');
    }
    if ((end < 0 ? m_buffer.size() : end) > LongestLine) {
        m_isPassingOver = end < 0;
        m_buffer.remove(0, end < 0 ? m_buffer.size() : end + 1);
        return Line::TooLong;
    }
    if (end < 0)
        return Line::None;
    *line = m_buffer.left(end);
    m_buffer.remove(0, end + 1);
    if (line->endsWith('\r'))
        line->chop(1);
    return Line::Whole;
}
