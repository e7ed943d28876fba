#include "ProgressBar.h"

#include <unistd.h>

#include <cstdio>

namespace {

constexpr int BarColumns = 20;
constexpr int ShortestPauseMs = 50;
constexpr char ClearLine[] = "\r\033[K";

} // namespace

ProgressBar::ProgressBar(bool isWanted)
    : m_isShown(isWanted && isatty(STDERR_FILENO) == 1)
{ }

ProgressBar::~ProgressBar()
{
    clear();
}

void ProgressBar::show(qint64 done, qint64 total)
{
    if (!m_isShown || (m_isDrawn && done < total && m_sinceDrawn.elapsed() < ShortestPauseMs))
        return;
    m_sinceDrawn.start();
    m_isDrawn = true;
    std::fprintf(stderr, "%s%s", ClearLine, line(done, total).toLocal8Bit().constData());
}

void ProgressBar::clear()
{
    if (m_isDrawn)
        std::fputs(ClearLine, stderr);
    m_isDrawn = false;
}

QString ProgressBar::line(qint64 done, qint64 total)
{
    const int columns = static_cast<int>(done * BarColumns / total);
    return QStringLiteral("[%1]%2%  %3 of %4 bytes")
        .arg(QString(columns, QLatin1Char('#')), -BarColumns)
        .arg(done * 100 / total, 4)
        .arg(done)
        .arg(total);
}
