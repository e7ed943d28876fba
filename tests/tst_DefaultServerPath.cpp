#include "KsProxyTools.h"
#include "TestMain.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <dlfcn.h>

namespace {

constexpr const char *SymbolName = "_ZN12KsProxyTools20getDefaultServerPathEv";

/// A second library of the same kind, loaded from where a test has put it.
class LoadedLibrary
{
public:
    explicit LoadedLibrary(const QString &path)
        : m_handle(dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL))
    { }
    ~LoadedLibrary()
    {
        if (m_handle != nullptr)
            dlclose(m_handle);
    }

    /// What its getDefaultServerPath says; null when it could not be loaded.
    QString defaultServerPath() const
    {
        using Operation = QString (*)();
        const auto operation = m_handle == nullptr
            ? nullptr
            : reinterpret_cast<Operation>(dlsym(m_handle, SymbolName));
        return operation == nullptr ? QString() : operation();
    }

private:
    Q_DISABLE_COPY_MOVE(LoadedLibrary)

    void *const m_handle;
};

/// The file of the library that this process has loaded.
QString ownLibrary()
{
    Dl_info info{};
    if (dladdr(dlsym(RTLD_DEFAULT, SymbolName), &info) == 0)
        return QString();
    return QFile::decodeName(info.dli_fname);
}

bool makeFile(const QString &path)
{
    QFile file(path);
    return QFileInfo(path).dir().mkpath(QStringLiteral(".")) && file.open(QIODevice::WriteOnly);
}

} // namespace

/// Tests of KsProxyTools::getDefaultServerPath.
class tst_DefaultServerPath : public QObject
{
    Q_OBJECT

public:
    tst_DefaultServerPath()
    {
        // File names are in the locale's encoding, which has to know all of these.
        qputenv("LC_ALL", "C.UTF-8");
    }

private Q_SLOTS:
    void init();

    void isInTheBuildTree();
    void isBesideTheFolderOfAMovedLibrary_data();
    void isBesideTheFolderOfAMovedLibrary();
    void isTheSameWhetherTheFileExists();
    void looksOneFolderHigherForADeeperLibrary();
    void prefersTheFolderBesideTheLibrary();
    void followsALinkToTheLibrary();
    void followsALinkToTheTree();
    void doesNotDependOnTheWorkingFolder();
    void staysWhenTheLibraryIsDeleted();

private:
    QString path(const QString &name) const
    {
        return m_tree->filePath(name);
    }
    /// Copies the library to that place in the tree.
    bool copyLibrary(const QString &name) const
    {
        return QFileInfo(path(name)).dir().mkpath(QStringLiteral("."))
            && QFile::copy(ownLibrary(), path(name));
    }

    QScopedPointer<QTemporaryDir> m_tree;
};

void tst_DefaultServerPath::init()
{
    m_tree.reset(new QTemporaryDir);
    QVERIFY(m_tree->isValid());
    QVERIFY(!ownLibrary().isEmpty());
}

void tst_DefaultServerPath::isInTheBuildTree()
{
    // This program lies in tests/bin of the build tree.
    const QString build
        = QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../.."));
    QCOMPARE(KsProxyTools::getDefaultServerPath(), build + QStringLiteral("/bin/KVTServerMaster"));
}

void tst_DefaultServerPath::isBesideTheFolderOfAMovedLibrary_data()
{
    QTest::addColumn<QString>("library");
    QTest::addColumn<QString>("server");
    const QString name = QStringLiteral("/libksproxyclient.so.1");
    QTest::newRow("in lib") << QStringLiteral("lib") + name
                            << QStringLiteral("bin/KVTServerMaster");
    QTest::newRow("deeper in the tree") << QStringLiteral("opt/product/lib") + name
                                        << QStringLiteral("opt/product/bin/KVTServerMaster");
    QTest::newRow("blanks and UTF-8") << QStringLiteral("my pr\u00F6duct \u65E5/lib")
            + name << QStringLiteral("my pr\u00F6duct \u65E5/bin/KVTServerMaster");
    QTest::newRow("another folder name")
        << QStringLiteral("libraries") + name << QStringLiteral("bin/KVTServerMaster");
    QTest::newRow("another file name")
        << QStringLiteral("lib/renamed.so") << QStringLiteral("bin/KVTServerMaster");
}

void tst_DefaultServerPath::isBesideTheFolderOfAMovedLibrary()
{
    QFETCH(QString, library);
    QFETCH(QString, server);
    QVERIFY(copyLibrary(library));
    const LoadedLibrary loaded(path(library));
    QCOMPARE(loaded.defaultServerPath(), path(server));
    // The one that was loaded before still answers for itself.
    QVERIFY(KsProxyTools::getDefaultServerPath() != path(server));
}

void tst_DefaultServerPath::isTheSameWhetherTheFileExists()
{
    const QString server = path(QStringLiteral("bin/KVTServerMaster"));
    QVERIFY(copyLibrary(QStringLiteral("lib/libksproxyclient.so.1")));
    const LoadedLibrary loaded(path(QStringLiteral("lib/libksproxyclient.so.1")));
    QVERIFY(!QFile::exists(server));
    QCOMPARE(loaded.defaultServerPath(), server);
    QVERIFY(makeFile(server));
    QCOMPARE(loaded.defaultServerPath(), server);
}

void tst_DefaultServerPath::looksOneFolderHigherForADeeperLibrary()
{
    const QString library = QStringLiteral("lib/x86_64-linux-gnu/libksproxyclient.so.1");
    QVERIFY(copyLibrary(library));
    const LoadedLibrary loaded(path(library));
    QCOMPARE(loaded.defaultServerPath(), path(QStringLiteral("lib/bin/KVTServerMaster")));
    QVERIFY(makeFile(path(QStringLiteral("bin/KVTServerMaster"))));
    QCOMPARE(loaded.defaultServerPath(), path(QStringLiteral("bin/KVTServerMaster")));
}

void tst_DefaultServerPath::prefersTheFolderBesideTheLibrary()
{
    const QString library = QStringLiteral("product/lib/libksproxyclient.so.1");
    QVERIFY(copyLibrary(library));
    QVERIFY(makeFile(path(QStringLiteral("bin/KVTServerMaster"))));
    QVERIFY(makeFile(path(QStringLiteral("product/bin/KVTServerMaster"))));
    const LoadedLibrary loaded(path(library));
    QCOMPARE(loaded.defaultServerPath(), path(QStringLiteral("product/bin/KVTServerMaster")));
}

void tst_DefaultServerPath::followsALinkToTheLibrary()
{
    QVERIFY(copyLibrary(QStringLiteral("product/lib/libksproxyclient.so.1.0.0")));
    QVERIFY(QDir(m_tree->path()).mkpath(QStringLiteral("elsewhere/lib")));
    const QString link = path(QStringLiteral("elsewhere/lib/libksproxyclient.so.1"));
    QVERIFY(QFile::link(path(QStringLiteral("product/lib/libksproxyclient.so.1.0.0")), link));
    const LoadedLibrary loaded(link);
    QCOMPARE(loaded.defaultServerPath(), path(QStringLiteral("product/bin/KVTServerMaster")));
}

void tst_DefaultServerPath::followsALinkToTheTree()
{
    QVERIFY(copyLibrary(QStringLiteral("product-1/lib/libksproxyclient.so.1")));
    QVERIFY(QFile::link(path(QStringLiteral("product-1")), path(QStringLiteral("product"))));
    const LoadedLibrary loaded(path(QStringLiteral("product/lib/libksproxyclient.so.1")));
    QCOMPARE(loaded.defaultServerPath(), path(QStringLiteral("product-1/bin/KVTServerMaster")));
}

void tst_DefaultServerPath::doesNotDependOnTheWorkingFolder()
{
    const QString before = QDir::currentPath();
    const QString inTheBuildTree = KsProxyTools::getDefaultServerPath();
    QVERIFY(QDir::setCurrent(m_tree->path()));
    const QString elsewhere = KsProxyTools::getDefaultServerPath();
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(elsewhere, inTheBuildTree);
    QVERIFY(QDir::isAbsolutePath(elsewhere));
}

void tst_DefaultServerPath::staysWhenTheLibraryIsDeleted()
{
    const QString library = QStringLiteral("lib/libksproxyclient.so.1");
    QVERIFY(copyLibrary(library));
    const LoadedLibrary loaded(path(library));
    QVERIFY(QFile::remove(path(library)));
    QCOMPARE(loaded.defaultServerPath(), path(QStringLiteral("bin/KVTServerMaster")));
}

KSPROXY_TEST_MAIN(tst_DefaultServerPath)
#include "tst_DefaultServerPath.moc"
