#include "ServerLog.h"

#include <cstdio>

namespace {

constexpr int LongestQuote = 200;
bool printsDetails = false;

} // namespace

void ServerLog::setVerbose(bool verbose)
{
    printsDetails = verbose;
}

bool ServerLog::isVerbose()
{
    return printsDetails;
}

QString ServerLog::quoted(const QString &text)
{
    QString quote;
    for (const QChar c : text.left(LongestQuote)) {
        if (c.isPrint())
            quote += c;
        else
            quote += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
    }
    const bool isShortened = text.size() > LongestQuote;
    return QLatin1Char('"') + quote
        + (isShortened ? QStringLiteral("\"...") : QStringLiteral("\""));
}

void ServerLog::line(const QString &text)
{
    std::fprintf(stderr, "KVTServerMaster: %s\n", text.toLocal8Bit().constData());
}

void ServerLog::detail(const QString &text)
{
    if (printsDetails)
        line(text);
}
