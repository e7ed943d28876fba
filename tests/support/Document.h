#ifndef DOCUMENT_H
#define DOCUMENT_H

#include <QFile>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

/// A document of the project, for tests of what it shows.
namespace Document {

/// Empty when there is no such document; \a name is its path in the source folder.
inline QString text(const QString &name)
{
    QFile file(QStringLiteral(KSPROXY_SOURCE_FOLDER "/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// What stands in the fences of that language, which may be empty.
inline QStringList blocks(const QString &name, const QString &language)
{
    static const QRegularExpression fence(QStringLiteral("^```(\\w*)\\n(.*?)^```$"),
                                          QRegularExpression::MultilineOption
                                              | QRegularExpression::DotMatchesEverythingOption);
    QStringList blocks;
    QRegularExpressionMatchIterator matches = fence.globalMatch(text(name));
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        if (match.captured(1) == language)
            blocks.append(match.captured(2));
    }
    return blocks;
}

} // namespace Document

#endif
