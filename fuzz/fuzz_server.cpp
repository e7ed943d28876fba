// The simulated device server, with clients that send what they like.
//
// Input: a byte of options, the count of faults, a byte for each of them, then steps of the
// clients. Time passes only as the steps say.
#include "DeviceRequest.h"
#include "DeviceServer.h"
#include "FuzzApplication.h"
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "MessageBody.h"
#include "NaiveFrames.h"
#include "RawSocket.h"
#include "ScenarioReader.h"
#include "VirtualClock.h"
#include "WireBytes.h"

#include <vector>

#include <sys/socket.h>

namespace {

constexpr int MostFaults = 4;
constexpr int MostClients = 3;
constexpr int LongestLatencyMs = 40;

const char ScenarioText[] = R"({
  "heartbeat": 0,
  "equipment": [
    {"key": "COM1", "kind": "controller", "memory": 256, "connectTime": 20},
    {"key": "COM1/1", "kind": "scanBoard", "controller": "COM1", "memory": 64, "latency": 10},
    {"key": "a,b", "kind": "controller", "memory": 65536, "latency": 5, "jitter": 15},
    {"key": "R", "kind": "controller", "result": "rejected", "memory": 16},
    {"key": "late", "kind": "controller", "appearsAfter": 30, "connectTime": 5}
  ],
  "faults": [
    {"fault": "delay", "ms": 20, "count": 3}, {"fault": "jitter", "ms": 20, "count": "always"},
    {"fault": "drip", "ms": 1, "bytes": 2, "count": 2}, {"fault": "coalesce", "frames": 2, "ms": 30},
    {"fault": "cut", "after": 3, "ms": 10}, {"fault": "drop", "messages": "replies"},
    {"fault": "repeat", "copies": 3}, {"fault": "wrongSerial"}, {"fault": "reorder", "frames": 3},
    {"fault": "unknownIdentifier"}, {"fault": "emptyBody"}, {"fault": "length", "difference": -1},
    {"fault": "noComma"}, {"fault": "close"}, {"fault": "stall", "ms": 20},
    {"fault": "register", "answer": "reject"}, {"fault": "register", "answer": "silent"}
  ]
})";

Scenario readScenario()
{
    ScenarioReader reader;
    if (!reader.read(ScenarioText))
        qFatal("%s", qPrintable(reader.error()));
    return reader.scenario();
}

class Execution
{
public:
    Execution(FuzzInput *input, const Scenario &all)
        : m_input(input)
        , m_options(optionsFrom(input->byte()))
        , m_server(m_options, chosen(all))
    { }

    void run()
    {
        while (!m_input->isAtEnd())
            step();
        pass(LongestLatencyMs);
        for (const Client &client : m_clients)
            checkReplies(client);
        checkRegistration();
    }

private:
    struct Client
    {
        RawSocket socket;
        QByteArray sent;
    };

    static ServerOptions optionsFrom(quint8 choice);
    Scenario chosen(const Scenario &all);

    void step();
    void sendRequest();
    Client *current();
    void join();
    void send(const QByteArray &bytes);
    void settle();
    void pass(int milliseconds);
    void checkReplies(const Client &client) const;
    void checkRegistration();

    FuzzInput *const m_input;
    const ServerOptions m_options;
    bool m_hasFaults = false;
    DeviceServer m_server;
    std::vector<Client> m_clients;
    size_t m_current = 0;
};

ServerOptions Execution::optionsFrom(quint8 choice)
{
    ServerOptions options;
    options.latencyMs = choice % 4 == 3 ? 5 : 0;
    options.registerAnswer
        = choice % 16 < 12 ? RegisterAnswer::Accept : static_cast<RegisterAnswer>(choice % 4);
    return options;
}

Scenario Execution::chosen(const Scenario &all)
{
    Scenario scenario = all;
    scenario.faults.clear();
    for (int i = m_input->below(MostFaults); i > 0; --i)
        scenario.faults.append(all.faults.at(m_input->below(all.faults.size())));
    m_hasFaults = !scenario.faults.isEmpty();
    if (m_hasFaults)
        scenario.heartbeatMs = 50;
    return scenario;
}

void Execution::step()
{
    switch (m_input->below(8)) {
    case 0:
        send(m_input->piece());
        break;
    default:
        send(WireBytes::frame(m_input->piece()));
        break;
    case 4:
    case 5:
        sendRequest();
        break;
    case 6:
        pass(1 + m_input->below(64));
        break;
    case 7:
        if (m_input->byte() % 4 == 0)
            current()->socket.close();
        m_current = static_cast<size_t>(m_input->below(MostClients));
        break;
    }
    settle();
}

void Execution::sendRequest()
{
    static const char *const keys[] = {"COM1", "COM1%2F1", "a%2Cb", "R", "late", "", "x"};
    const int id = TarnEnum::RequestReadData + m_input->below(6);
    const bool isWrite = id >= TarnEnum::RequestWriteData;
    const QByteArray text = "serialNum=" + QByteArray::number(m_input->byte())
        + ";readWriteCode=" + (isWrite ? '1' : '0')
        + ";clientPackageType=" + QByteArray::number((id - TarnEnum::RequestReadData) % 3)
        + ";serverConnectionKey=" + keys[m_input->below(std::size(keys))]
        + ";lowAddr=" + QByteArray::number(m_input->byte()) + (isWrite ? ";data=" : ";readLength=");
    send(WireBytes::message(id, text + m_input->piece()));
}

Execution::Client *Execution::current()
{
    while (m_clients.size() <= m_current)
        join();
    return &m_clients[m_current];
}

void Execution::join()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        qFatal("no connection");
    m_clients.push_back({RawSocket(ends[0]), QByteArray()});
    m_server.addClient(ends[1]);
}

void Execution::send(const QByteArray &bytes)
{
    Client *const client = current();
    if (!client->socket.isOpen())
        return;
    const int written = client->socket.write(bytes);
    client->sent += bytes.left(written);
    settle();
}

void Execution::settle()
{
    FuzzApplication::settle();
    for (Client &client : m_clients)
        client.socket.read();
    FuzzApplication::settle(); // what there was no room for
}

void Execution::pass(int milliseconds)
{
    constexpr int StepMs = 4;
    for (int passed = 0; passed < milliseconds; passed += StepMs) {
        VirtualClock::advance(StepMs);
        settle();
    }
}

// Every request that can be read is answered once, whatever else a client sends.
void Execution::checkReplies(const Client &client) const
{
    if (m_hasFaults || !client.socket.isOpen())
        return;
    int requests = 0;
    const NaiveFrames sent(client.sent);
    for (const QByteArray &body : sent.payloads) {
        const int id = body.isEmpty() ? -1 : MessageBody::id(body);
        if (DeviceRequest::isRequest(id)
            && DeviceRequest::read(id, MessageBody::text(body)) != nullptr)
            ++requests;
    }
    const int end = sent.ends.isEmpty() ? 0 : sent.ends.last();
    if (client.sent.size() - end >= 4)
        return; // a frame that was announced and has not come, perhaps one that is passed over
    int replies = 0;
    const NaiveFrames received(client.socket.received());
    for (const QByteArray &body : received.payloads) {
        fuzzCheck(!body.isEmpty(), "the server sends no empty message");
        const int id = MessageBody::id(body);
        replies += id >= TarnEnum::ReplyReadData && id <= TarnEnum::ReplyWriteMemData ? 1 : 0;
    }
    fuzzCheck(replies == requests, "each request is answered once");
}

void Execution::checkRegistration()
{
    m_server.faults()->clear();
    m_server.setRegisterAnswer(RegisterAnswer::Accept);
    m_current = m_clients.size();
    join();
    send(WireBytes::message(TarnEnum::RegisterClient));
    const NaiveFrames received(m_clients.back().socket.received());
    const QByteArray confirmation = char(TarnEnum::RegisterSuccess)
        + (m_server.rack()->tableText() + QLatin1String(",")).toLatin1();
    fuzzCheck(!received.payloads.isEmpty()
                  && received.payloads.constFirst().startsWith(confirmation),
              "a client that comes afterwards is registered");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const FuzzApplication application;
    static const Scenario scenario = readScenario();
    FuzzInput input(data, size);
    Execution(&input, scenario).run();
    FuzzApplication::settle();
    return 0;
}
