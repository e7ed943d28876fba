#ifndef TESTMAIN_H
#define TESTMAIN_H

#include <QObject>

/// Runs the functions of \a test with a QCoreApplication and a temporary folder of this process's
/// own as `TMPDIR`, so that its local sockets are nobody else's.
int runTest(QObject *test, int argc, char **argv);

/// The folder that `runTest` has made; the temporary folder in a program that it does not run.
QString testFolder();

/// For programs that make such a folder by themselves.
void setTestFolder(const QString &folder);

#define KSPROXY_TEST_MAIN(TestClass)                                                               \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        TestClass test;                                                                            \
        return runTest(&test, argc, argv);                                                         \
    }

#endif
