#include "TestMain.h"

#include <QTest>

#include <dlfcn.h>

/// The libraries leave things behind on purpose, which would point into one that is unloaded.
class tst_LoadedLibraries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stayWhenAPluginIsClosed_data();
    void stayWhenAPluginIsClosed();
};

void tst_LoadedLibraries::stayWhenAPluginIsClosed_data()
{
    QTest::addColumn<QByteArray>("file");
    for (const char *name : {"package", "interface", "client", "oldclient", "session"})
        QTest::newRow(name) << QByteArray(KSPROXY_LIBRARY_FOLDER "/libksproxy") + name + ".so";
}

void tst_LoadedLibraries::stayWhenAPluginIsClosed()
{
    QFETCH(const QByteArray, file);
    void *const library = dlopen(file.constData(), RTLD_NOW);
    QVERIFY2(library != nullptr, file.constData());
    QCOMPARE(dlclose(library), 0);
    QVERIFY(dlopen(file.constData(), RTLD_NOW | RTLD_NOLOAD) != nullptr);
}

KSPROXY_TEST_MAIN(tst_LoadedLibraries)
#include "tst_LoadedLibraries.moc"
