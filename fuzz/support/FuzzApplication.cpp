#include "FuzzApplication.h"

#include <QAbstractEventDispatcher>
#include <QDir>

namespace {

char programName[] = "fuzz";
char *arguments[] = {programName, nullptr};
int argumentCount = 1;

} // namespace

FuzzApplication::FuzzApplication()
    // Short, since the path of a local socket holds 107 characters at most.
    : m_folder(QDir::tempPath() + QLatin1String("/ksf-XXXXXX"))
{
    if (!m_folder.isValid())
        qFatal("no temporary folder: %s", qPrintable(m_folder.errorString()));
    qputenv("TMPDIR", m_folder.path().toLocal8Bit());
    qputenv("QT_NO_GLIB", "1"); // Qt's own event loop costs less
    m_application = std::make_unique<QCoreApplication>(argumentCount, arguments);
}

void FuzzApplication::settle()
{
    do {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    } while (QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents));
}

QString FuzzApplication::folder() const
{
    return m_folder.path();
}
