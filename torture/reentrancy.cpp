#include "CellProcess.h"
#include "ProxyCell.h"
#include "SessionCell.h"
#include "Torture.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QThread>
#include <QVector>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

const char CellOption[] = "--cell";
const QString ProxySide = QStringLiteral("proxy");
const QString SessionSide = QStringLiteral("session");
constexpr int ProcessesPerCore = 3; // they wait more than they work

/// In a process of its own: the side, the occasion and the deed.
int playCell(const QStringList &cell)
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    std::unique_ptr<ReentrancyCell> player;
    if (cell.at(0) == ProxySide)
        player = std::make_unique<ProxyCell>();
    else
        player = std::make_unique<SessionCell>();
    const QString problem = player->play(cell.at(1), cell.at(2));
    if (!problem.isEmpty())
        std::fprintf(stderr, "%s\n", qPrintable(problem));
    return problem.isEmpty() ? 0 : CellProcess::WrongExitCode;
}

/// All pairs, or only so many that each occasion and each deed comes once.
QVector<QStringList> cellsOf(const QString &side, const QStringList &occasions,
                             const QStringList &deeds, bool all)
{
    QVector<QStringList> cells;
    if (!all) {
        const int count = qMax(occasions.size(), deeds.size());
        for (int i = 0; i < count; ++i)
            cells.append({side, occasions.at(i % occasions.size()), deeds.at(i % deeds.size())});
        return cells;
    }
    for (const QString &occasion : occasions) {
        for (const QString &deed : deeds)
            cells.append({side, occasion, deed});
    }
    return cells;
}

/// Plays the cells, several at a time, and counts what came of them.
class Matrix
{
public:
    Matrix(QVector<QStringList> cells, Torture *torture)
        : m_cells(std::move(cells))
        , m_torture(torture)
    { }

    void play();
    void addFigures() const;

private:
    void startNext();
    void conclude(CellProcess *process, const QStringList &cell);

    const QVector<QStringList> m_cells;
    Torture *const m_torture;
    QEventLoop m_loop;
    int m_next = 0;
    int m_running = 0;
    qint64 m_counts[4] = {};
    qint64 m_longestMs = 0;
};

void Matrix::play()
{
    for (int i = 0; i < ProcessesPerCore * QThread::idealThreadCount(); ++i)
        startNext();
    if (m_running > 0)
        m_loop.exec();
}

void Matrix::startNext()
{
    if (m_next == m_cells.size())
        return;
    const QStringList cell = m_cells.at(m_next);
    auto *const process
        = new CellProcess(QStringList{QString::fromLatin1(CellOption)} + cell,
                          QStringLiteral("%1/%2").arg(m_torture->folder()).arg(m_next));
    ++m_next;
    ++m_running;
    QObject::connect(process, &CellProcess::ended, process,
                     [this, process, cell] { conclude(process, cell); });
}

void Matrix::conclude(CellProcess *process, const QStringList &cell)
{
    static const char *const names[] = {"held", "went wrong", "crashed", "hung"};
    const CellProcess::Outcome outcome = process->outcome();
    ++m_counts[static_cast<int>(outcome)];
    m_longestMs = qMax(m_longestMs, process->elapsedMs());
    m_torture->require(outcome == CellProcess::Outcome::Held,
                       QStringLiteral("%1 %2\n%3")
                           .arg(cell.join(QLatin1String(" | ")),
                                QLatin1String(names[static_cast<int>(outcome)]), process->words()));
    process->deleteLater();
    --m_running;
    startNext();
    if (m_running == 0)
        m_loop.quit();
}

void Matrix::addFigures() const
{
    const auto count
        = [this](CellProcess::Outcome outcome) { return m_counts[static_cast<int>(outcome)]; };
    m_torture->add("cells", static_cast<qint64>(m_cells.size()));
    m_torture->add("held", count(CellProcess::Outcome::Held));
    m_torture->add("wrong", count(CellProcess::Outcome::Wrong));
    m_torture->add("crashes", count(CellProcess::Outcome::Crashed));
    m_torture->add("hangs", count(CellProcess::Outcome::Hung));
    m_torture->add("longest_ms", m_longestMs);
}

} // namespace

/// A matrix of what calls the application back and of what it does there, down to what it must not
/// do. Afterwards everything still works, or is gone.
int main(int argc, char **argv)
{
    if (argc > 4 && std::strcmp(argv[1], CellOption) == 0) {
        const QCoreApplication application(argc, argv);
        return playCell(QCoreApplication::arguments().mid(2));
    }
    Torture torture("reentrancy", argc, argv);
    const QCoreApplication application(argc, argv);
    const QVector<QStringList> proxyCells
        = cellsOf(ProxySide, ProxyCell::occasions(), ProxyCell::deeds(), torture.isLong());
    const QVector<QStringList> sessionCells
        = cellsOf(SessionSide, SessionCell::occasions(), SessionCell::deeds(), torture.isLong());
    torture.add("proxy_cells", static_cast<qint64>(proxyCells.size()));
    torture.add("session_cells", static_cast<qint64>(sessionCells.size()));
    Matrix matrix(proxyCells + sessionCells, &torture);
    matrix.play();
    matrix.addFigures();
    return torture.finish();
}
