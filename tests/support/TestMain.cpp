#include "TestMain.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString currentFolder;

} // namespace

int runTest(QObject *test, int argc, char **argv)
{
    // Short and outside the build tree: the path of a local socket holds 107 characters at most.
    const QTemporaryDir folder(QDir::tempPath() + QLatin1String("/kst-XXXXXX"));
    if (!folder.isValid())
        qFatal("no temporary folder: %s", qPrintable(folder.errorString()));
    currentFolder = folder.path();
    qputenv("TMPDIR", currentFolder.toLocal8Bit());
    QCoreApplication application(argc, argv);
    const int result = QTest::qExec(test, argc, argv);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return result;
}

QString testFolder()
{
    return currentFolder.isEmpty() ? QDir::tempPath() : currentFolder;
}

void setTestFolder(const QString &folder)
{
    currentFolder = folder;
}
