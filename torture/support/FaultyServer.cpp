#include "FaultyServer.h"

#include "EventWait.h"

#include <QTimer>

#include <algorithm>
#include <csignal>
#include <iterator>

namespace {

constexpr int ShortHangMs = 300;

enum class Happening { Fault, Hang, ShortHang, Kill, Terminate };

struct Kind
{
    const char *name;
    Happening happening;
    const char *commands[2]; // to the server; the second may be null
};

// A wrong serial number is one that nobody has: with a near one, a reply would be another's.
const Kind Kinds[] = {
    {"delay", Happening::Fault, {R"({"do":"fault","fault":"delay","ms":300,"count":5})"}},
    {"jitter", Happening::Fault, {R"({"do":"fault","fault":"jitter","ms":200,"count":20})"}},
    {"drip",
     Happening::Fault,
     {R"({"do":"fault","fault":"drip","bytes":3,"ms":1,"count":3,"messages":"all"})"}},
    {"cut", Happening::Fault, {R"({"do":"fault","fault":"cut","count":5,"messages":"all"})"}},
    {"coalesce", Happening::Fault, {R"({"do":"fault","fault":"coalesce","frames":8,"count":3})"}},
    {"reorder", Happening::Fault, {R"({"do":"fault","fault":"reorder","frames":4,"count":3})"}},
    {"drop", Happening::Fault, {R"({"do":"fault","fault":"drop","count":3})"}},
    {"repeat", Happening::Fault, {R"({"do":"fault","fault":"repeat","copies":3,"count":20})"}},
    {"wrongSerial",
     Happening::Fault,
     {R"({"do":"fault","fault":"wrongSerial","difference":1000000000,"count":3})"}},
    {"unknownIdentifier",
     Happening::Fault,
     {R"({"do":"fault","fault":"unknownIdentifier","count":3})"}},
    {"emptyBody", Happening::Fault, {R"({"do":"fault","fault":"emptyBody","count":3})"}},
    {"a frame one byte too short",
     Happening::Fault,
     {R"({"do":"fault","fault":"length","difference":1})"}},
    {"a length that nothing satisfies",
     Happening::Fault,
     {R"({"do":"fault","fault":"length","field":2147483648})"}},
    {"noComma", Happening::Fault, {R"({"do":"fault","fault":"noComma","count":3})"}},
    {"close", Happening::Fault, {R"({"do":"fault","fault":"close"})"}},
    {"stall", Happening::Fault, {R"({"do":"fault","fault":"stall","ms":500})"}},
    {"stall without an end", Happening::Fault, {R"({"do":"stall"})"}},
    {"silent to a registration",
     Happening::Fault,
     {R"({"do":"fault","fault":"register","answer":"silent"})",
      R"({"do":"fault","fault":"close"})"}},
    {"rejects a registration",
     Happening::Fault,
     {R"({"do":"fault","fault":"register","answer":"reject"})",
      R"({"do":"fault","fault":"close"})"}},
    {"exit", Happening::Fault, {R"({"do":"fault","fault":"exit"})"}},
    {"hang", Happening::Hang, {}},
    {"short hang", Happening::ShortHang, {}},
    {"kill", Happening::Kill, {}},
    {"terminate", Happening::Terminate, {}},
};

} // namespace

FaultyServer::FaultyServer(const QStringList &arguments, int hangMs, quint32 seed)
    : m_arguments(arguments + QStringList{QStringLiteral("--control"), QStringLiteral("control")})
    , m_hangMs(hangMs)
    , m_random(seed)
{ }

bool FaultyServer::start()
{
    m_server = std::make_unique<SteeredServer>();
    // It says a line for each order.
    m_server->process.sendErrorsTo(QProcess::nullDevice());
    m_server->process.launch(m_arguments);
    ++m_starts;
    return waitInEvents(
               [this] { return m_server->process.output().contains(QLatin1String("control ")); },
               WaitLimitMs)
        && m_server->control.connectToServer(QStringLiteral("control"));
}

int FaultyServer::kinds()
{
    return static_cast<int>(std::size(Kinds));
}

int FaultyServer::starts() const
{
    return m_starts;
}

QString FaultyServer::befall()
{
    if (m_deck.isEmpty()) {
        for (int kind = 0; kind < kinds(); ++kind)
            m_deck.append(kind);
        std::shuffle(m_deck.begin(), m_deck.end(), m_random);
    }
    const int kind = m_deck.takeLast();
    carryOut(kind);
    return QLatin1String(Kinds[kind].name);
}

void FaultyServer::carryOut(int kind)
{
    const Kind &chosen = Kinds[kind];
    switch (chosen.happening) {
    case Happening::Fault:
        for (const char *const command : chosen.commands) {
            if (command != nullptr)
                m_server->control.tell(command);
        }
        break;
    case Happening::Hang:
        hang(m_hangMs);
        break;
    case Happening::ShortHang:
        hang(ShortHangMs);
        break;
    case Happening::Kill:
        end(SIGKILL);
        break;
    case Happening::Terminate:
        end(SIGTERM);
        break;
    }
}

void FaultyServer::hang(int ms)
{
    m_isHung = true;
    m_server->process.sendSignal(SIGSTOP);
    QTimer::singleShot(ms, &m_server->control.socket(), [this] {
        m_server->process.sendSignal(SIGCONT);
        m_isHung = false;
    });
}

bool FaultyServer::restart()
{
    return end(SIGKILL);
}

bool FaultyServer::end(int signalNumber)
{
    if (m_server->process.isRunning())
        m_server->process.sendSignal(signalNumber);
    return waitInEvents([this] { return !m_server->process.isRunning(); }, WaitLimitMs) && start();
}

bool FaultyServer::isResponding()
{
    return m_server->process.isRunning() && m_server->control.isConnected();
}

bool FaultyServer::repair()
{
    if (!waitInEvents([this] { return !m_isHung; }, WaitLimitMs))
        return false;
    if (isResponding() && m_server->control.tell(R"({"do":"clear"})")
        && m_server->control.tell(R"({"do":"release"})"))
        return true;
    return restart();
}
