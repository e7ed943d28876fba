// Makes each call that gets memory, a descriptor, bytes or a process fail once in turn, in small
// complete pieces of use of the library. Every failing call has a process of its own, so that a
// crash is a finding and a process that does not end is one too. FailingCalls.h tells which calls
// count, and what is left out since Qt does not survive it.

#include "FailingCalls.h"
#include "FailingScenario.h"
#include "FailingStage.h"
#include "LivingBlocks.h"
#include "SocketClients.h"
#include "Torture.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QEventLoop>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <utility>

namespace {

const char *const ChildWord = "--child";
const QString CountWord = QStringLiteral("count");
constexpr int ChildLimitMs = 60000;
constexpr int AtOnce = 16; // they mostly wait

std::vector<FailingScenario> allScenarios()
{
    std::vector<FailingScenario> all = proxyScenarios();
    for (const auto &more : {toolScenarios(), sessionScenarios()})
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

/// Where an exception arrives that the library let through to the event loop.
class ChildApplication : public QCoreApplication
{
public:
    using QCoreApplication::QCoreApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        try {
            return QCoreApplication::notify(receiver, event);
        } catch (const std::bad_alloc &) {
            m_hasEscaped = true;
            return true;
        }
    }
    bool hasEscaped() const
    {
        return m_hasEscaped;
    }

private:
    bool m_hasEscaped = false;
};

void ignoreLog(QtMsgType, const QMessageLogContext &, const QString &) { }

// A worker that did not end in time is released when it does.
void cleanUp()
{
    const QDir threads(QStringLiteral("/proc/self/task"));
    serveUntil(
        [&threads] { return threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() == 1; });
    QCoreApplication::processEvents(); // what the workers have said last
    serveDeletions();
    SocketClients::deleteAbandoned();
}

Verdict runCaught(const FailingScenario &scenario)
{
    try {
        return scenario.run();
    } catch (const std::bad_alloc &) {
        return Verdict::wrong(QStringLiteral("std::bad_alloc left an operation"));
    }
}

// Everything that is made once and kept is made before anything is counted.
void warmUp(const FailingScenario &scenario)
{
    for (int i = 0; i < 2; ++i) {
        scenario.run();
        cleanUp();
    }
    try {
        qCritical("warm");
        qErrnoWarning(EAGAIN, "warm"); // as for a thread that cannot be made
        throw std::bad_alloc();
    } catch (const std::bad_alloc &) {
        qDebug() << "warm";
    }
}

/// Prints the verdict, the allocations that survived and either the counts or what is wrong.
int runChild(int argc, char **argv)
{
    auto application = std::make_unique<ChildApplication>(argc, argv);
    const QStringList arguments = application->arguments();
    const QTemporaryDir folder;
    qputenv("TMPDIR", folder.path().toLocal8Bit());
    qInstallMessageHandler(ignoreLog);
    const auto scenarios = allScenarios();
    const QByteArray name = arguments.value(2).toLatin1();
    const auto scenario
        = std::find_if(scenarios.begin(), scenarios.end(),
                       [&name](const FailingScenario &each) { return name == each.name; });
    if (scenario == scenarios.end())
        return 2;
    SocketClients::watch();
    warmUp(*scenario);
    const FailingCalls::Fault *const fault = FailingCalls::fault(arguments.value(3));
    const int number = arguments.value(4).toInt();
    // Twice, since a failure too makes things that are kept, and what comes after it must go on.
    Verdict verdict = Verdict::done();
    for (bool isLast : {false, true}) {
        if (isLast)
            LivingBlocks::start();
        FailingCalls::arm(fault, number);
        const Verdict next = runCaught(*scenario);
        FailingCalls::disarm();
        cleanUp();
        if (verdict.kind != Verdict::Wrong)
            verdict = next;
    }
    if (application->hasEscaped())
        verdict = Verdict::wrong(QStringLiteral("std::bad_alloc went to the event loop"));
    application.reset(); // with it go the proxies that are kept for a next session
    SocketClients::deleteAbandoned();
    const int survivors = LivingBlocks::survivors();
    QByteArray more = verdict.why.toUtf8();
    if (fault == nullptr && verdict.kind != Verdict::Wrong) {
        for (const auto *each = FailingCalls::faults(); each->name != nullptr; ++each)
            more += QByteArray::number(FailingCalls::count(*each)) + ' ';
        more += QByteArray::number(FailingCalls::leftOut());
    }
    FailingCalls::showFailed();
    std::printf("%d %d %d %s\n", int(verdict.kind), survivors, int(FailingCalls::hasFailed()),
                more.constData());
    return 0;
}

/// One child: a scenario with one failing call.
struct Job
{
    QString scenario;
    QString fault;
    int number;

    QString text() const
    {
        return QStringLiteral("%1 %2 %3").arg(scenario, fault).arg(number);
    }
};

struct Outcome
{
    bool hasHung = false;
    bool hasCrashed = false;
    bool hasFailed = false; // the call
    Verdict verdict{Verdict::Wrong, QString()};
    int survivors = 0;
    QByteArray errors;
};

/// Runs children, several at once.
class Children
{
public:
    using Take = std::function<void(const Job &, const Outcome &)>;

    explicit Children(Take take)
        : m_take(std::move(take))
    { }

    void add(const Job &job)
    {
        m_jobs.push_back(job);
    }
    void run()
    {
        for (int i = 0; i < AtOnce; ++i)
            startNext();
        while (m_running > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

private:
    void startNext();
    static Outcome outcomeOf(QProcess *process, bool hasHung);

    const Take m_take;
    std::deque<Job> m_jobs;
    int m_running = 0;
};

void Children::startNext()
{
    if (m_jobs.empty())
        return;
    const Job job = m_jobs.front();
    m_jobs.pop_front();
    ++m_running;
    auto *const process = new QProcess;
    auto *const limit = new QTimer(process);
    limit->setSingleShot(true);
    QObject::connect(limit, &QTimer::timeout, process, &QProcess::kill);
    QObject::connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished),
                     process, [this, process, limit, job] {
                         const Outcome outcome = outcomeOf(process, !limit->isActive());
                         process->deleteLater();
                         --m_running;
                         m_take(job, outcome);
                         startNext();
                     });
    process->start(QCoreApplication::applicationFilePath(),
                   {QLatin1String(ChildWord), job.scenario, job.fault, QString::number(job.number)},
                   QIODevice::ReadOnly);
    limit->start(ChildLimitMs);
}

Outcome Children::outcomeOf(QProcess *process, bool hasHung)
{
    Outcome outcome;
    outcome.errors = process->readAllStandardError();
    outcome.hasHung = hasHung;
    const QList<QByteArray> words = process->readAllStandardOutput().trimmed().split(' ');
    outcome.hasCrashed = !hasHung
        && (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0
            || words.size() < 3);
    if (outcome.hasHung || outcome.hasCrashed)
        return outcome;
    outcome.verdict.kind = static_cast<Verdict::Kind>(words[0].toInt());
    outcome.verdict.why = QString::fromUtf8(words.mid(3).join(' '));
    outcome.survivors = words[1].toInt();
    outcome.hasFailed = words[2].toInt() != 0;
    return outcome;
}

class Run
{
public:
    explicit Run(Torture *torture)
        : m_torture(torture)
    { }

    void go();

private:
    void countCalls(const QStringList &names);
    void planFailures();
    void judge(const Job &job, const Outcome &outcome);
    void complain(const Job &job, const QString &what, const QByteArray &errors = QByteArray());

    Torture *const m_torture;
    QMap<QString, Outcome> m_counted;
    std::deque<Job> m_plan;
    QMap<QString, qint64> m_failedCalls; // by fault
    qint64 m_runs = 0;
    qint64 m_leftOut = 0;
    qint64 m_done = 0;
    qint64 m_reported = 0;
    qint64 m_crashes = 0;
    qint64 m_hangs = 0;
    qint64 m_leaks = 0;
    qint64 m_wrong = 0;
};

void Run::go()
{
    // In the short form every third, others with another seed.
    const std::size_t step = m_torture->isLong() ? 1 : 3;
    const auto scenarios = allScenarios();
    QStringList names;
    for (std::size_t i = m_torture->seed() % step; i < scenarios.size(); i += step)
        names.append(QLatin1String(scenarios[i].name));
    countCalls(names);
    planFailures();
    Children children([this](const Job &job, const Outcome &outcome) { judge(job, outcome); });
    for (const Job &job : m_plan)
        children.add(job);
    children.run();
    m_torture->add("scenarios", qint64(names.size()));
    m_torture->add("calls_failed", m_runs);
    for (const auto *fault = FailingCalls::faults(); fault->name != nullptr; ++fault)
        m_torture->add(fault->name, m_failedCalls.value(QLatin1String(fault->name)));
    m_torture->add("allocations_left_out", m_leftOut);
    m_torture->add("done_all_the_same", m_done);
    m_torture->add("reported", m_reported);
    m_torture->add("crashes", m_crashes);
    m_torture->add("hangs", m_hangs);
    m_torture->add("leaks", m_leaks);
    m_torture->add("wrong", m_wrong);
}

void Run::countCalls(const QStringList &names)
{
    Children children([this](const Job &job, const Outcome &outcome) {
        const bool isGood
            = !outcome.hasHung && !outcome.hasCrashed && outcome.verdict.kind != Verdict::Wrong;
        if (!isGood)
            complain(job, QStringLiteral("fails without any failing call: ") + outcome.verdict.why,
                     outcome.errors);
        else
            m_counted.insert(job.scenario, outcome);
    });
    for (const QString &name : names)
        children.add({name, CountWord, 0});
    children.run();
}

void Run::planFailures()
{
    // In the short form a few calls, likewise.
    constexpr int shortRuns = 60;
    for (auto counted = m_counted.cbegin(); counted != m_counted.cend(); ++counted) {
        const QStringList counts = counted->verdict.why.split(QLatin1Char(' '));
        m_leftOut += counts.last().toInt();
        for (int i = 0; FailingCalls::faults()[i].name != nullptr; ++i) {
            for (int number = 0; number < counts.value(i).toInt(); ++number)
                m_plan.push_back(
                    {counted.key(), QLatin1String(FailingCalls::faults()[i].name), number});
        }
    }
    // To look at some alone, as "read allocation 1.".
    const QRegularExpression only(QString::fromLocal8Bit(qgetenv("KSPROXY_FAILING_ONLY")));
    const auto isLeftOut = [&only](const Job &job) { return !only.match(job.text()).hasMatch(); };
    m_plan.erase(std::remove_if(m_plan.begin(), m_plan.end(), isLeftOut), m_plan.end());
    if (m_torture->isLong())
        return;
    const std::size_t stride = m_plan.size() / shortRuns + 1;
    std::deque<Job> chosen;
    for (std::size_t i = m_torture->seed() % stride; i < m_plan.size(); i += stride)
        chosen.push_back(m_plan[i]);
    m_plan = chosen;
}

void Run::judge(const Job &job, const Outcome &outcome)
{
    if (outcome.hasHung) {
        ++m_hangs;
        complain(job, QStringLiteral("hangs"), outcome.errors);
    } else if (outcome.hasCrashed) {
        ++m_crashes;
        complain(job, QStringLiteral("crashes"), outcome.errors);
    }
    if (outcome.hasHung || outcome.hasCrashed) {
        ++m_runs;
        return;
    }
    if (!outcome.hasFailed)
        return; // it did not come so far this time
    ++m_runs;
    ++m_failedCalls[job.fault];
    m_done += outcome.verdict.kind == Verdict::Done ? 1 : 0;
    m_reported += outcome.verdict.kind == Verdict::Reported ? 1 : 0;
    if (outcome.verdict.kind == Verdict::Wrong) {
        ++m_wrong;
        complain(job, outcome.verdict.why, outcome.errors);
    }
    const int leaked = outcome.survivors - m_counted.value(job.scenario).survivors;
    if (leaked > 0) {
        ++m_leaks;
        complain(job, QStringLiteral("leaks %1 allocations").arg(leaked), outcome.errors);
    }
}

void Run::complain(const Job &job, const QString &what, const QByteArray &errors)
{
    m_torture->require(false,
                       job.text() + QLatin1String(": ") + what + QLatin1Char('\n')
                           + QString::fromLocal8Bit(errors));
}

} // namespace

int main(int argc, char **argv)
{
    // The event loop of Qt itself: what GLib's allocates is not ours to survive.
    qputenv("QT_NO_GLIB", "1");
    if (argc > 1 && std::strcmp(argv[1], ChildWord) == 0)
        return runChild(argc, argv);
    Torture torture("failing_calls", argc, argv);
    const QCoreApplication application(argc, argv);
    Run(&torture).go();
    return torture.finish();
}
