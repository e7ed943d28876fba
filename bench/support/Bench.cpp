#include "Bench.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QMap>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace {

constexpr int FullRounds = 9;
constexpr int QuickRounds = 3;

struct Series
{
    QString what;
    QString caseName;
    QString unit;
    QJsonArray samples;
};

} // namespace

struct Bench::Private
{
    QString program;
    int argumentCount = 0;
    // Short and outside the build tree: the path of a local socket holds 107 characters at most.
    QTemporaryDir folder{QDir::tempPath() + QLatin1String("/ksb-XXXXXX")};
    std::unique_ptr<QCoreApplication> application;
    bool isQuick = false;
    bool isGood = true;
    std::mt19937 order{1};
    std::vector<Series> series;
};

Bench::Bench(const char *program, int argc, char **argv)
    : m_private(std::make_unique<Private>())
{
    m_private->program = QString::fromLatin1(program);
    for (int i = 1; i < argc; ++i) {
        if (qstrcmp(argv[i], "--quick") != 0) {
            std::fprintf(stderr, "%s: unexpected argument: %s\n", program, argv[i]);
            std::exit(2);
        }
        m_private->isQuick = true;
    }
    if (!m_private->folder.isValid()) {
        std::fprintf(stderr, "%s: no temporary folder: %s\n", program,
                     qPrintable(m_private->folder.errorString()));
        std::exit(2);
    }
    qputenv("TMPDIR", m_private->folder.path().toLocal8Bit());
    m_private->argumentCount = argc;
    m_private->application = std::make_unique<QCoreApplication>(m_private->argumentCount, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
}

Bench::~Bench() = default;

bool Bench::isQuick() const
{
    return m_private->isQuick;
}

int Bench::rounds() const
{
    return m_private->isQuick ? QuickRounds : FullRounds;
}

QString Bench::folder() const
{
    return m_private->folder.path();
}

void Bench::takeTurns(const std::vector<Contestant> &contestants)
{
    QMap<QString, std::vector<const Contestant *>> turns;
    for (const Contestant &contestant : contestants)
        turns[contestant.caseName].push_back(&contestant);
    for (std::vector<const Contestant *> &rivals : turns) {
        // Not always in the same order: each may leave the machine better or worse for the next.
        std::shuffle(rivals.begin(), rivals.end(), m_private->order);
        for (const Contestant *const rival : rivals)
            add(rival->what, rival->caseName, rival->unit, rival->sample());
    }
}

void Bench::compete(const std::vector<Contestant> &contestants)
{
    for (int round = 0; round < rounds(); ++round)
        takeTurns(contestants);
}

void Bench::add(const QString &what, const QString &caseName, const QString &unit, double sample)
{
    std::vector<Series> &all = m_private->series;
    auto series = std::find_if(all.begin(), all.end(), [&](const Series &one) {
        return one.what == what && one.caseName == caseName;
    });
    if (series == all.end())
        series = all.insert(all.end(), {what, caseName, unit, {}});
    series->samples.append(sample);
}

bool Bench::require(bool holds, const QString &what)
{
    if (!holds) {
        m_private->isGood = false;
        std::fprintf(stderr, "%s: %s\n", qPrintable(m_private->program), qPrintable(what));
    }
    return holds;
}

int Bench::finish() const
{
    QJsonArray measurements;
    for (const Series &series : m_private->series) {
        measurements.append(QJsonObject{{QStringLiteral("what"), series.what},
                                        {QStringLiteral("case"), series.caseName},
                                        {QStringLiteral("unit"), series.unit},
                                        {QStringLiteral("samples"), series.samples}});
    }
    const QJsonObject result{{QStringLiteral("program"), m_private->program},
                             {QStringLiteral("measurements"), measurements}};
    std::fputs(QJsonDocument(result).toJson(QJsonDocument::Compact).constData(), stdout);
    std::fputs("\n", stdout);
    return m_private->isGood ? 0 : 1;
}
