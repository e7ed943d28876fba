#include "ProducerBooks.h"

#include "Torture.h"

#include <algorithm>
#include <cstdlib>

// Qt's table of hooks, there for tools that watch objects; its header is a private one.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {

constexpr int RemoveObject = 4;
constexpr int UnansweredEach = 7;
ProducerBooks *openBooks = nullptr;

} // namespace

/// A request that enters its own completion and deletion into the books.
class ProducerBooks::Request : public PackageRequestReadData
{
public:
    Request(ProducerBooks *books, Message *message, const QByteArray &label)
        : m_books(books)
        , m_message(message)
    {
        setTag(QString::fromLatin1(label));
        setReadLength(1);
        setCompletionHandler([this](void *, PackageBase *reply) {
            ++m_message->completed;
            if (reply == this)
                ++m_books->m_unexpected; // a failed write: the connection never breaks here
            else if (reply->getSerialNum() != getSerialNum())
                ++m_books->m_completedByAnother;
            deleteLater();
        });
    }
    ~Request() override
    {
        m_message->package = nullptr;
        if (m_books->m_isTerminating)
            ++m_message->deleted;
    }

private:
    Q_DISABLE_COPY_MOVE(Request)

    ProducerBooks *const m_books;
    Message *const m_message;
};

ProducerBooks::ProducerBooks(int producers, int perProducer)
    : m_producers(static_cast<std::size_t>(producers))
{
    for (int producer = 0; producer < producers; ++producer) {
        m_producers[static_cast<std::size_t>(producer)].messages.resize(
            static_cast<std::size_t>(perProducer));
        for (int index = 0; index < perProducer; ++index) {
            Message &message = at(producer, index);
            if (isRequest(index))
                message.package = new Request(this, &message, label(producer, index));
        }
    }
    openBooks = this;
    qtHookData[RemoveObject] = reinterpret_cast<quintptr>(&ProducerBooks::countDeletion);
}

ProducerBooks::~ProducerBooks()
{
    qtHookData[RemoveObject] = 0;
    openBooks = nullptr;
    for (const Producer &producer : m_producers) {
        for (const Message &message : producer.messages)
            delete message.package;
    }
}

bool ProducerBooks::isRequest(int index)
{
    return index % 2 == 1;
}

bool ProducerBooks::isAnswered(int index)
{
    return index % UnansweredEach != 0;
}

QByteArray ProducerBooks::label(int producer, int index)
{
    return 'p' + QByteArray::number(producer) + '-' + QByteArray::number(index);
}

PackageRequestReadData *ProducerBooks::request(int producer, int index)
{
    return at(producer, index).package;
}

void ProducerBooks::setAccepted(int producer, int index, bool accepted)
{
    at(producer, index).isAccepted = accepted;
}

void ProducerBooks::setTerminating(bool on)
{
    m_isTerminating = on;
}

void ProducerBooks::setThread(int producer, const QThread *thread)
{
    m_producers[static_cast<std::size_t>(producer)].thread = thread;
}

ProducerBooks::Message &ProducerBooks::at(int producer, int index)
{
    return m_producers[static_cast<std::size_t>(producer)]
        .messages[static_cast<std::size_t>(index)];
}

// A queue entry lives on the thread that queued it, a package and everything else on the main one.
void ProducerBooks::countDeletion(QObject *object)
{
    if (!openBooks->m_isTerminating || QThread::currentThread() == object->thread())
        return;
    for (Producer &producer : openBooks->m_producers) {
        if (producer.thread == object->thread())
            ++producer.discarded;
    }
}

void ProducerBooks::close(const QList<QByteArray> &bodies, Torture *torture)
{
    for (const QByteArray &body : bodies)
        receive(body);
    for (const Producer &producer : m_producers) {
        const auto isDiscarded
            = [](const Message &message) { return message.isAccepted && message.received == 0; };
        const auto unsent
            = std::count_if(producer.messages.cbegin(), producer.messages.cend(), isDiscarded);
        m_lost += std::abs(unsent - producer.discarded);
        m_discarded += producer.discarded;
        for (std::size_t index = 0; index < producer.messages.size(); ++index)
            closeMessage(producer.messages[index], static_cast<int>(index));
    }
    torture->add("refused", m_refused);
    torture->add("sent", m_sent);
    torture->add("discarded", m_discarded);
    torture->add("completed", m_completed);
    torture->add("completed_by_another", m_completedByAnother);
    torture->add("deleted", m_deleted);
    torture->add("lost", m_lost);
    torture->add("doubled", m_doubled);
    torture->add("out_of_order", m_outOfOrder);
    torture->require(m_lost == 0,
                     QStringLiteral("messages that Terminate did not discard are "
                                    "missing, or requests that were sent"));
    torture->require(m_doubled == 0, QStringLiteral("something happened to a message twice"));
    torture->require(m_outOfOrder == 0, QStringLiteral("a producer's order was not kept"));
    torture->require(m_unexpected == 0,
                     QStringLiteral("%1 messages did what they cannot do").arg(m_unexpected));
    torture->require(m_refused > 0 && m_sent > 0 && m_discarded > 0 && m_deleted > 0,
                     QStringLiteral("the run has not seen everything that can happen"));
}

void ProducerBooks::receive(const QByteArray &body)
{
    const int begin = body.at(0) == TarnEnum::RequestReadData ? body.indexOf(";tag=") + 5 : 1;
    const QByteArray text = body.mid(begin, body.indexOf(';', begin) - begin);
    if (!text.startsWith('p'))
        return; // the application's own
    const int dash = text.indexOf('-');
    const int number = text.mid(1, dash - 1).toInt();
    const int index = text.mid(dash + 1).toInt();
    Producer &producer = m_producers[static_cast<std::size_t>(number)];
    ++at(number, index).received;
    if (index < producer.lastReceived)
        ++m_outOfOrder;
    producer.lastReceived = index;
}

void ProducerBooks::closeMessage(const Message &message, int index)
{
    const int ends = message.completed + message.deleted;
    m_refused += message.isAccepted ? 0 : 1;
    m_sent += message.received > 0 ? 1 : 0;
    m_completed += message.completed;
    m_deleted += message.deleted;
    m_doubled += message.received > 1 || ends > 1 ? 1 : 0;
    if (message.received > 0 && (!message.isAccepted || (isRequest(index) && ends == 0)))
        ++(message.isAccepted ? m_lost : m_unexpected);
    if (message.received == 0 && ends > 0)
        ++m_unexpected;
}
