#include "SteeredServer.h"

#include "TestMain.h"

#include <QFile>

bool SteeredServer::start(const QStringList &arguments)
{
    const QString name = QStringLiteral("control");
    return process.start(arguments + QStringList{QStringLiteral("--control"), name})
        && control.connectToServer(name);
}

bool SteeredServer::end()
{
    process.terminate();
    return process.waitForEnd() && !process.hasCrashed() && process.exitCode() == 0;
}

QString SteeredServer::written(const QString &name, const QByteArray &content)
{
    QFile file(testFolder() + QLatin1Char('/') + name);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    return isWritten ? file.fileName() : QString();
}
