// 16 threads queue requests and commands while the application's thread registers, unregisters,
// terminates and initialises the proxy again. The proxy sends one message per 10 ms by itself,
// which would take a quarter of an hour; so besides its workers the application's thread calls the
// two loops, as their ticks would, as fast as it can.

#include "AnsweringPeer.h"
#include "ProducerBooks.h"
#include "TestAccess.h"
#include "TestPackages.h"
#include "TestProxy.h"
#include "Torture.h"
#include "Waiting.h"
#include "WireBytes.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QSemaphore>

#include <atomic>
#include <memory>
#include <vector>

namespace {

constexpr int ProducerCount = 16;
constexpr int Burst = 25; // messages that a producer makes without waiting for the next round
const QString EndMark = QStringLiteral("end");

class Run
{
public:
    Run(Torture *torture, int messages, int rounds);

    void go();

private:
    QByteArray answerTo(const QByteArray &body);
    void produce(int producer);
    void makeRound(int round);
    void registerProxy();
    void terminate();
    void letQueue(int bursts);
    void pump();
    template <typename Condition>
    void pumpUntil(const char *what, Condition condition);
    bool isQueueEmpty() const;

    Torture *const m_torture;
    const int m_perProducer;
    const int m_rounds;
    ProducerBooks m_books;
    std::atomic<bool> m_hasEndArrived{false};
    std::atomic<int> m_refusals{0};
    std::atomic<int> m_running{ProducerCount};
    AnsweringPeer m_peer{[this](const QByteArray &body) { return answerTo(body); }};
    TestProxy m_proxy;
    QSemaphore m_bursts;
    int m_burstsLeft;
    int m_registrations = 0;
    int m_terminations = 0;
};

Run::Run(Torture *torture, int messages, int rounds)
    : m_torture(torture)
    , m_perProducer(messages / ProducerCount)
    , m_rounds(rounds)
    , m_books(ProducerCount, m_perProducer)
    , m_burstsLeft(ProducerCount * ((m_perProducer + Burst - 1) / Burst))
{ }

void Run::go()
{
    std::vector<std::unique_ptr<QThread>> threads;
    for (int producer = 0; producer < ProducerCount; ++producer) {
        threads.emplace_back(QThread::create([this, producer] { produce(producer); }));
        m_books.setThread(producer, threads.back().get());
    }
    for (const auto &thread : threads)
        thread->start();
    for (int round = 0; round < m_rounds; ++round)
        makeRound(round);
    m_proxy->Initalize();
    registerProxy();
    letQueue(m_burstsLeft);
    pumpUntil("the producers' end", [this] { return m_running == 0; });
    for (const auto &thread : threads)
        thread->wait();
    m_proxy->CancelServerSend(EndMark);
    pumpUntil("the last message", [this] { return m_hasEndArrived.load(); });
    terminate();
    m_torture->add("producers", qint64(ProducerCount));
    m_torture->add("messages", qint64(ProducerCount) * m_perProducer);
    m_torture->add("registrations", qint64(m_registrations));
    m_torture->add("terminations", qint64(m_terminations));
    m_books.close(m_peer.finish(), m_torture);
}

QByteArray Run::answerTo(const QByteArray &body)
{
    const QByteArray text = body.mid(1);
    switch (body.at(0)) {
    case TarnEnum::RegisterClient:
        return WireBytes::message(TarnEnum::RegisterSuccess, "COM1/1/2/A/5,1.0");
    case TarnEnum::CancelOneSend:
        m_hasEndArrived = true;
        return QByteArray();
    case TarnEnum::RequestReadData: {
        const int number = text.indexOf('=') + 1;
        const int tag = text.indexOf(";tag=") + 5;
        const QByteArray label = text.mid(tag, text.indexOf(';', tag) - tag);
        if (!ProducerBooks::isAnswered(label.mid(label.indexOf('-') + 1).toInt()))
            return QByteArray();
        return WireBytes::message(
            TarnEnum::ReplyReadData,
            replyText(text.mid(number, text.indexOf(';') - number).toULongLong()));
    }
    default:
        return QByteArray();
    }
}

void Run::produce(int producer)
{
    for (int index = 0; index < m_perProducer; ++index) {
        if (index % Burst == 0)
            m_bursts.acquire();
        const bool isRequest = ProducerBooks::isRequest(index);
        PackageRequestReadData *const request
            = isRequest ? m_books.request(producer, index) : nullptr;
        // After it has been queued the request is no longer this thread's.
        const bool isAccepted = isRequest ? m_proxy->SendRequestReadData(request)
                                          : m_proxy->ConnectController(QString::fromLatin1(
                                              ProducerBooks::label(producer, index)));
        m_books.setAccepted(producer, index, isAccepted);
        if (!isAccepted)
            m_refusals.fetch_add(1, std::memory_order_relaxed);
        // What other threads may also ask meanwhile.
        if (index % Burst == 0) {
            m_proxy->MatchRequest(static_cast<unsigned int>(index));
            m_proxy->equipmentTable();
        }
    }
    --m_running;
}

void Run::makeRound(int round)
{
    const int bursts = m_burstsLeft / (m_rounds - round) / 4;
    m_proxy->Initalize();
    letQueue(bursts);
    registerProxy();
    letQueue(bursts);
    pumpUntil("some messages", [this] { return isQueueEmpty(); });
    if (round % 3 == 0) {
        m_proxy->UnRegister();
        const int refusals = m_refusals;
        letQueue(qMax(1, bursts));
        pumpUntil("a refusal", [&] { return m_refusals > refusals || m_proxy->isRegisted(); });
    }
    letQueue(qMax(1, bursts));
    if (round % 2 == 0) {
        if (m_proxy->isRegisted()) {
            const QDeadlineTimer limit(WaitLimitMs);
            while (isQueueEmpty() && m_running > 0 && !limit.hasExpired())
                QThread::yieldCurrentThread();
        }
        terminate();
    }
}

void Run::registerProxy()
{
    if (!m_torture->require(m_proxy->Register(QString(), nullptr, QString()),
                            QStringLiteral("a registration failed")))
        return;
    ++m_registrations;
    pumpUntil("the confirmation", [this] { return !m_proxy->ServerVer().isEmpty(); });
}

void Run::terminate()
{
    m_books.setTerminating(true);
    m_proxy->Terminate();
    m_books.setTerminating(false);
    ++m_terminations;
}

void Run::letQueue(int bursts)
{
    bursts = qMin(bursts, m_burstsLeft);
    m_burstsLeft -= bursts;
    m_bursts.release(bursts);
}

void Run::pump()
{
    for (int i = 0; i < Burst; ++i)
        m_proxy->SendThreadFun(false);
    m_proxy->NotifyThreadFun(false);
    QCoreApplication::processEvents();
    // Completed requests and their replies.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

template <typename Condition>
void Run::pumpUntil(const char *what, Condition condition)
{
    const QDeadlineTimer limit(qint64{10} * WaitLimitMs);
    bool holds = condition();
    for (; !holds && !limit.hasExpired(); holds = condition())
        pump();
    m_torture->require(holds, QLatin1String("waited in vain for ") + QLatin1String(what));
}

bool Run::isQueueEmpty() const
{
    const QMutexLocker locker(&TestAccess::sendMutex(*m_proxy));
    return TestAccess::sendList(*m_proxy).isEmpty();
}

} // namespace

int main(int argc, char **argv)
{
    Torture torture("producers", argc, argv);
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const int messages = torture.isLong() ? 100000 : 8000;
    Run(&torture, messages, torture.rounds(10, 100)).go();
    return torture.finish();
}
