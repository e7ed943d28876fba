#include "Torture.h"

#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <climits>
#include <cstdio>
#include <cstdlib>

struct Torture::Private
{
    QString name;
    // Short and outside the build tree: the path of a local socket holds 107 characters at most.
    QTemporaryDir folder{QDir::tempPath() + QLatin1String("/kst-XXXXXX")};
    QElapsedTimer timer;
    bool isLong = false;
    int rounds = 0; // 0 where the program decides
    quint32 seed = 1;
    QString curveFile;
    QStringList figures;
    int failures = 0;

    void read(const QStringList &arguments);
    uint number(const QCommandLineParser &parser, const QString &option, uint otherwise) const;
    [[noreturn]] void refuse(const QString &why) const;
};

void Torture::Private::read(const QStringList &arguments)
{
    const QString longName = QStringLiteral("long");
    const QString roundsName = QStringLiteral("rounds");
    const QString seedName = QStringLiteral("seed");
    const QString curveName = QStringLiteral("curve");
    QCommandLineParser parser;
    parser.addOption({longName, QStringLiteral("The long form.")});
    parser.addOption({roundsName, QStringLiteral("How many rounds."), QStringLiteral("N")});
    parser.addOption({seedName, QStringLiteral("Seed of what is random."), QStringLiteral("N")});
    parser.addOption({curveName, QStringLiteral("A file for samples."), QStringLiteral("FILE")});
    if (!parser.parse(arguments))
        refuse(parser.errorText());
    if (!parser.positionalArguments().isEmpty())
        refuse(QStringLiteral("unexpected argument: ") + parser.positionalArguments().constFirst());
    isLong = parser.isSet(longName);
    rounds = static_cast<int>(number(parser, roundsName, 0));
    seed = number(parser, seedName, 1);
    curveFile = parser.value(curveName);
}

uint Torture::Private::number(const QCommandLineParser &parser, const QString &option,
                              uint otherwise) const
{
    if (!parser.isSet(option))
        return otherwise;
    bool good = false;
    const uint value = parser.value(option).toUInt(&good);
    if (!good || value == 0 || value > INT_MAX)
        refuse(QStringLiteral("--%1 takes a number from 1 on, not \"%2\"")
                   .arg(option, parser.value(option)));
    return value;
}

void Torture::Private::refuse(const QString &why) const
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(name), qPrintable(why));
    std::exit(2);
}

Torture::Torture(const char *name, int argc, char **argv)
    : m_private(std::make_unique<Private>())
{
    m_private->name = QString::fromLatin1(name);
    m_private->timer.start();
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    m_private->read(arguments);
    if (!m_private->folder.isValid())
        m_private->refuse(m_private->folder.errorString());
    qputenv("TMPDIR", m_private->folder.path().toLocal8Bit());
}

Torture::~Torture() = default;

bool Torture::isLong() const
{
    return m_private->isLong;
}

int Torture::rounds(int shortRounds, int longRounds) const
{
    if (m_private->rounds > 0)
        return m_private->rounds;
    return m_private->isLong ? longRounds : shortRounds;
}

quint32 Torture::seed() const
{
    return m_private->seed;
}

QString Torture::curveFile() const
{
    return m_private->curveFile;
}

QString Torture::folder() const
{
    return m_private->folder.path();
}

void Torture::add(const char *figure, qint64 value)
{
    add(figure, QString::number(value));
}

void Torture::add(const char *figure, double value)
{
    add(figure, QString::number(value, 'g', 4));
}

void Torture::add(const char *figure, const QString &value)
{
    m_private->figures.append(QLatin1String(figure) + QLatin1Char('=') + value);
}

bool Torture::require(bool holds, const QString &what)
{
    if (!holds) {
        ++m_private->failures;
        std::fprintf(stderr, "%s: %s\n", qPrintable(m_private->name), qPrintable(what));
    }
    return holds;
}

int Torture::finish()
{
    add("failures", static_cast<qint64>(m_private->failures));
    add("seconds", static_cast<double>(m_private->timer.elapsed()) / 1000);
    std::printf("%s %s\n", qPrintable(m_private->name),
                qPrintable(m_private->figures.join(QLatin1Char(' '))));
    return m_private->failures == 0 ? 0 : 1;
}
