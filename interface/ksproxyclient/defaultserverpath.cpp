#include "KsProxyTools.h"

#include "Guarded.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

// The address lies in this library, whichever library's getDefaultServerPath the linker chose.
const char addressInThisLibrary = 0;

QDir libraryFolder()
{
    Dl_info info{};
    if (dladdr(&addressInThisLibrary, &info) == 0)
        return QDir();
    // Not QFileInfo::canonicalFilePath, which loses what it has when memory runs out.
    const std::unique_ptr<char, void (*)(void *)> file(realpath(info.dli_fname, nullptr), free);
    if (!file && errno == ENOMEM)
        throw std::bad_alloc();
    // A library that has been deleted since it was loaded has only that name left.
    return QFileInfo(QFile::decodeName(file ? file.get() : info.dli_fname)).dir();
}

QString serverBesideLibrary()
{
    const QDir folder = libraryFolder();
    // From lib/ and, where libraries lie one folder deeper, from lib/<architecture>/.
    const QString fromLib
        = QDir::cleanPath(folder.filePath(QStringLiteral("../bin/KVTServerMaster")));
    const QString fromDeeper
        = QDir::cleanPath(folder.filePath(QStringLiteral("../../bin/KVTServerMaster")));
    // Where neither is there, the one that could be.
    for (const QString &path : {fromLib, fromDeeper}) {
        if (QFileInfo::exists(path))
            return path;
    }
    return !QFileInfo(fromLib).dir().exists() && QFileInfo(fromDeeper).dir().exists() ? fromDeeper
                                                                                      : fromLib;
}

} // namespace

QString KsProxyTools::getDefaultServerPath()
{
    return guarded(serverBesideLibrary, QString());
}
