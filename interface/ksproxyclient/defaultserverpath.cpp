#include "KsProxyTools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

namespace {

// The address lies in this library, whichever library's getDefaultServerPath the linker chose.
const char addressInThisLibrary = 0;

QDir libraryFolder()
{
    Dl_info info{};
    if (dladdr(&addressInThisLibrary, &info) == 0)
        return QDir();
    return QFileInfo(QFileInfo(QFile::decodeName(info.dli_fname)).canonicalFilePath()).dir();
}

} // namespace

QString KsProxyTools::getDefaultServerPath()
{
    const QDir folder = libraryFolder();
    // From lib/ and, where libraries lie one folder deeper, from lib/<architecture>/.
    const QString fromLib
        = QDir::cleanPath(folder.filePath(QStringLiteral("../bin/KVTServerMaster")));
    const QString fromDeeper
        = QDir::cleanPath(folder.filePath(QStringLiteral("../../bin/KVTServerMaster")));
    return !QFileInfo::exists(fromLib) && QFileInfo::exists(fromDeeper) ? fromDeeper : fromLib;
}
