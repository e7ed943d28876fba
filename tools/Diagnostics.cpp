#include "Diagnostics.h"

#include <QLoggingCategory>

#include <cstdio>

namespace {

bool isQuiet = false;
bool isVerbose = false;

void print(const QString &text)
{
    std::fprintf(stderr, "ksproxyctl: %s\n", text.toLocal8Bit().constData());
}

void handleLog(QtMsgType, const QMessageLogContext &context, const QString &text)
{
    if (isVerbose && qstrcmp(context.category, "ksproxy.session") == 0)
        print(text);
}

} // namespace

void Diagnostics::takeLog()
{
    qInstallMessageHandler(handleLog);
}

void Diagnostics::setVerbose(bool verbose)
{
    isVerbose = verbose;
    if (verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("ksproxy.session=true"));
}

void Diagnostics::setQuiet(bool quiet)
{
    isQuiet = quiet;
}

void Diagnostics::line(const QString &text)
{
    if (!isQuiet)
        print(text);
}
