// The session layer, with a server that sends what it likes and when it likes.
//
// Input: a byte that says what a slot of the state's change does, a byte of options, then steps of
// the server and of the application. The server is a real local socket in this process. Time
// passes only as the steps say, so an execution with time-outs of seconds takes a millisecond.
#include "DeviceSession.h"
#include "DeviceTransfer.h"
#include "FuzzApplication.h"
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "HostileServer.h"
#include "LivingObjects.h"
#include "ProxyBeat.h"
#include "VirtualClock.h"
#include "WireBytes.h"

#include <QPointer>

#include <memory>
#include <vector>

namespace {

using State = DeviceSession::State;

constexpr int BeatMs = 10;
constexpr int MostRequests = 64; // of an execution
constexpr int MostSlotActions = 8; // a slot that opens what cannot be opened would never end
const char Table[] = "COM1/1/1001/Press/1,COM1#*#1/2/2001/Inlet/1,1.0";

/// An object of the session that must emit `finished` once.
struct Watched
{
    QPointer<QObject> object;
    std::shared_ptr<int> finished = std::make_shared<int>(0);
};

class Execution
{
public:
    Execution(FuzzInput *input, HostileServer *server);

    void run();

private:
    void makeSession();
    void open();
    void confirm();
    void onState(State state);

    void step();
    void serverStep();
    void applicationStep();
    void answer();
    void request();
    void transfer();
    void command();
    void act(quint8 action);
    void actInSlot(quint8 action);
    template <typename Finishing>
    void watch(Finishing *object, quint8 action);

    void settle();
    void pass(int steps, int milliseconds = BeatMs);
    void finish();
    void check() const;

    FuzzInput *const m_input;
    HostileServer *const m_server;
    SessionOptions m_options;
    const quint8 m_stateAction;
    std::unique_ptr<DeviceSession> m_session;
    std::vector<Watched> m_watched;
    int m_slotActions = 0;
    QVector<State> m_states;
    QSet<QString> m_table;
};

Execution::Execution(FuzzInput *input, HostileServer *server)
    : m_input(input)
    , m_server(server)
    , m_stateAction(input->byte())
{
    const quint8 choice = input->byte();
    m_options.startsServer = false;
    m_options.startTimeoutMs = 500;
    m_options.registrationTimeoutMs = 300;
    m_options.requestTimeoutMs = (choice & 1) != 0 ? 100 : 1000;
    m_options.silenceLimitMs = (choice & 2) != 0 ? 1000 : 0;
    if ((choice & 4) != 0)
        m_options.reconnect = ReconnectPolicy::off();
    m_server->listen();
    // Otherwise the session goes on with the last one's connection, as sessions do; that the last
    // one's end is not waited for makes most executions twice as fast.
    if ((choice & 16) != 0 || !m_server->isBetweenMessages())
        m_server->closeConnection();
    m_server->forgetMessages();
    makeSession();
    open();
    if ((choice & 8) == 0)
        confirm();
}

void Execution::run()
{
    while (!m_input->isAtEnd()) {
        step();
        check();
    }
    finish();
}

void Execution::makeSession()
{
    m_states = {State::Closed};
    m_table.clear();
    m_session = std::make_unique<DeviceSession>();
    QObject::connect(m_session.get(), &DeviceSession::stateChanged,
                     [this](State state) { onState(state); });
    QObject::connect(m_session.get(), &DeviceSession::tableChanged,
                     [this](const QStringList &added, const QStringList &removed) {
                         for (const QString &key : added)
                             m_table.insert(key);
                         for (const QString &key : removed)
                             m_table.remove(key);
                     });
}

void Execution::open()
{
    if (!m_session)
        makeSession();
    const bool isClosed = m_session->state() == State::Closed;
    fuzzCheck(m_session->open(m_options) == isClosed, "a closed session can be opened");
    pass(2);
}

void Execution::confirm()
{
    m_server->send(WireBytes::message(0, Table));
    pass(2);
}

void Execution::onState(State state)
{
    fuzzCheck(m_states.last() != state, "each change of the state is told once");
    m_states.append(state);
    if (state == State::Closed)
        m_table.clear();
    if (static_cast<int>(state) == m_stateAction % 8)
        actInSlot(m_stateAction / 8);
}

void Execution::step()
{
    if (m_input->below(2) == 0)
        serverStep();
    else
        applicationStep();
    settle();
}

void Execution::serverStep()
{
    switch (m_input->below(8)) {
    case 0:
        m_server->send(m_input->piece());
        break;
    case 1:
    case 2:
        m_server->send(WireBytes::frame(m_input->piece()));
        break;
    case 3:
    case 4:
        answer();
        break;
    case 5:
        confirm();
        break;
    case 6:
        m_server->closeConnection();
        break;
    default:
        if (m_server->isListening())
            m_server->stopListening();
        else
            m_server->listen();
        break;
    }
}

void Execution::applicationStep()
{
    switch (m_input->below(8)) {
    case 0:
    case 1:
        request();
        break;
    case 2:
        transfer();
        break;
    case 3:
        command();
        break;
    case 4:
        pass(1 + m_input->below(16));
        break;
    case 5:
        pass(1 + m_input->below(8), 100);
        break;
    case 6:
        act(m_input->byte());
        break;
    default:
        open();
        break;
    }
}

// To the oldest message that is a request, with its serial number: as it should be, or what the
// input says after the number.
void Execution::answer()
{
    const QByteArray more = m_input->piece();
    const QByteArray message = m_server->takeMessage();
    if (message.isEmpty())
        return;
    const int begin = message.indexOf("serialNum=");
    if (begin < 0)
        return;
    const QByteArray number = message.mid(begin, message.indexOf(';', begin) - begin);
    m_server->send(WireBytes::message(
        message.at(0) + 4,
        number + (more.isEmpty() ? ";commResult=0;dataLength=4;data=AQIDBA==" : ';' + more)));
}

void Execution::request()
{
    const quint8 choice = m_input->byte();
    const EquipmentAddress address((choice & 1) != 0 ? QStringLiteral("COM1") : m_input->text(),
                                   m_input->integer<quint32>());
    const int timeout = (choice & 2) != 0 ? DeviceSession::DefaultTimeout : m_input->byte();
    if (!m_session || m_watched.size() >= MostRequests)
        return;
    DeviceReply *const reply = (choice & 4) != 0
        ? m_session->read(address, m_input->byte(), timeout)
        : m_session->write(address, m_input->piece(), timeout);
    fuzzCheck(reply != nullptr && !reply->isFinished(), "a reply finishes later");
    watch(reply, choice / 8);
}

void Execution::transfer()
{
    const quint8 choice = m_input->byte();
    const EquipmentAddress address(QStringLiteral("COM1"), m_input->byte());
    const QByteArray data(m_input->byte(), 'x');
    if (!m_session || m_watched.size() >= MostRequests)
        return;
    auto *const transfer = new DeviceTransfer(m_session.get(), m_session.get());
    transfer->setChunkBytes(4);
    transfer->setWindow(1 + choice % 4);
    transfer->setVerifying((choice & 4) != 0);
    watch(transfer, choice / 8);
    if ((choice & 8) != 0)
        transfer->read(address, data.size());
    else
        transfer->write(address, data);
}

void Execution::command()
{
    const int choice = m_input->below(6);
    const QString text = m_input->text();
    if (!m_session)
        return;
    const bool isReady = m_session->state() == State::Ready;
    const bool isTaken = choice == 0 ? m_session->connectController(text)
        : choice == 1                ? m_session->connectAllControllers()
        : choice == 2                ? m_session->cancelRequests(text)
        : choice == 3                ? m_session->cancelAllRequests()
        : choice == 4                ? m_session->sendOrder(text.toUtf8())
                                     : m_session->setAutoConnect(text.isEmpty());
    fuzzCheck(isReady || !isTaken, "only a session that is ready takes commands");
}

void Execution::actInSlot(quint8 action)
{
    if (m_slotActions++ < MostSlotActions)
        act(action);
}

// What an application may do at any moment, in slots too.
void Execution::act(quint8 action)
{
    QObject *const last = m_watched.empty() ? nullptr : m_watched.back().object.data();
    switch (action % 8) {
    case 1:
        if (m_session)
            m_session->close();
        break;
    case 2:
        m_session.reset();
        break;
    case 3:
        delete last;
        break;
    case 4:
        if (auto *const reply = qobject_cast<DeviceReply *>(last))
            reply->abort();
        else if (auto *const transfer = qobject_cast<DeviceTransfer *>(last))
            transfer->abort();
        break;
    case 5:
        if (m_session && m_watched.size() < MostRequests)
            watch(m_session->read({QStringLiteral("COM1"), 0}, 1), 0);
        break;
    case 6:
        if (m_session)
            m_session->open(m_options);
        break;
    case 7:
        FuzzApplication::settle(); // an event loop of its own
        break;
    default:
        break;
    }
}

template <typename Finishing>
void Execution::watch(Finishing *object, quint8 action)
{
    const Watched watched{object};
    QObject::connect(object, &Finishing::finished,
                     [this, object, action, finished = watched.finished] {
                         ++*finished;
                         fuzzCheck(object->isFinished(), "what has finished says so");
                         actInSlot(action);
                     });
    m_watched.push_back(watched);
}

void Execution::settle()
{
    FuzzApplication::settle();
    m_server->poll();
}

void Execution::pass(int steps, int milliseconds)
{
    for (int i = 0; i < steps; ++i) {
        VirtualClock::advance(milliseconds);
        ProxyBeat::beat();
        settle();
    }
}

void Execution::finish()
{
    if (m_session)
        m_session->close();
    FuzzApplication::settle();
    check();
    for (const Watched &watched : m_watched)
        fuzzCheck(!watched.object || *watched.finished == 1, "what was begun has finished");
    m_session.reset();
    FuzzApplication::settle();
    ProxyBeat::releaseKeptObjects();
}

void Execution::check() const
{
    for (const Watched &watched : m_watched)
        fuzzCheck(*watched.finished <= 1, "nothing finishes twice");
    if (!m_session)
        return;
    fuzzCheck(m_states.last() == m_session->state(), "every change of the state is told");
    const QList<QString> keys = m_session->equipmentTable().keys();
    fuzzCheck(m_table == QSet<QString>(keys.cbegin(), keys.cend()),
              "every change of the table is told");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const FuzzApplication application;
    static const bool isPrepared = (LivingObjects::start(), true);
    Q_UNUSED(isPrepared)
    static HostileServer server;
    FuzzInput input(data, size);
    Execution(&input, &server).run();
    return 0;
}
