// Runs a fuzz target once with each of the files and the folders of files that are named: what
// fuzzing has found stays found. Fails when there is nothing to run, or a finding ends the program.
#include "FuzzTarget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <optional>

namespace {

QStringList filesAt(const QString &path)
{
    if (!QFileInfo(path).isDir())
        return {path};
    QStringList files;
    const QDir folder(path);
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString &name : names)
        files.append(folder.filePath(name));
    return files;
}

// Closed before the target runs: some count what objects there are.
std::optional<QByteArray> contentOf(const QString &fileName)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    std::fprintf(stderr, "%s: cannot be read: %s\n", qPrintable(fileName),
                 qPrintable(file.errorString()));
    return std::nullopt;
}

bool replay(const QString &fileName)
{
    const std::optional<QByteArray> input = contentOf(fileName);
    if (input)
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input->constData()),
                               static_cast<std::size_t>(input->size()));
    return input.has_value();
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const QStringList files = filesAt(QString::fromLocal8Bit(argv[i]));
        if (files.isEmpty())
            std::fprintf(stderr, "%s: there are no files in it\n", argv[i]);
        for (const QString &file : files) {
            // Before it runs: what was under way when a finding ends the program.
            std::printf("%s\n", qPrintable(file));
            std::fflush(stdout);
            if (!replay(file))
                return 1;
            ++count;
        }
        if (files.isEmpty())
            return 1;
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
