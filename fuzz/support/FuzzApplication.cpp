#include "FuzzApplication.h"

#include <QAbstractEventDispatcher>
#include <QDir>

namespace {

char programName[] = "fuzz";
char *arguments[] = {programName, nullptr};
int argumentCount = 1;
constexpr int MostIdlePasses = 8;

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

// A pass says that it has done nothing when another thread is just about to wake this one, although
// what it has delivered may have posted more. What only an outer loop may delete stays pending.
void FuzzApplication::settle()
{
    QAbstractEventDispatcher *const dispatcher = QCoreApplication::eventDispatcher();
    int idlePasses = 0;
    do {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        idlePasses = dispatcher->processEvents(QEventLoop::AllEvents) ? 0 : idlePasses + 1;
    } while (idlePasses == 0 || (idlePasses < MostIdlePasses && dispatcher->hasPendingEvents()));
}

QString FuzzApplication::folder() const
{
    return m_folder.path();
}
