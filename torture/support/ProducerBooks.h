#ifndef PRODUCERBOOKS_H
#define PRODUCERBOOKS_H

#include "PackageRequestReadData.h"

#include <QByteArray>
#include <QList>
#include <QThread>

#include <atomic>
#include <vector>

class Torture;

/// What became of each message that each producer made: every one is refused, or is sent, or is
/// discarded by `Terminate`; and every request that was sent is completed, or is deleted by
/// `Terminate`, once. Each producer writes its own refusals, everything else belongs to the main
/// thread.
class ProducerBooks
{
public:
    ProducerBooks(int producers, int perProducer);
    ~ProducerBooks();

    /// Every second message is a request. Of these every seventh gets no answer, so that
    /// `Terminate` finds some to delete.
    static bool isRequest(int index);
    static bool isAnswered(int index);
    /// What a message carries to the peer, as "p3-17".
    static QByteArray label(int producer, int index);

    /// The request with that index; it lives on the main thread.
    PackageRequestReadData *request(int producer, int index);
    void setAccepted(int producer, int index, bool accepted);

    /// Counts what is deleted until the next call with false.
    void setTerminating(bool on);
    /// The messages of that thread are the producer's: its queue entries are known by it.
    void setThread(int producer, const QThread *thread);

    /// Compares everything with \a bodies, what the peer has received; only when the producers have
    /// ended, all is sent and the proxy has been terminated.
    void close(const QList<QByteArray> &bodies, Torture *torture);

private:
    Q_DISABLE_COPY_MOVE(ProducerBooks)

    class Request;
    struct Message
    {
        bool isAccepted = false;
        int received = 0;
        int completed = 0;
        int deleted = 0;
        PackageRequestReadData *package = nullptr; // until it is deleted
    };
    struct Producer
    {
        std::vector<Message> messages;
        const QThread *thread = nullptr;
        int discarded = 0;
        int lastReceived = -1;
    };

    static void countDeletion(QObject *object);
    Message &at(int producer, int index);
    void receive(const QByteArray &body);
    void closeMessage(const Message &message, int index);

    std::vector<Producer> m_producers;
    std::atomic<bool> m_isTerminating{false}; // other threads delete objects too

    qint64 m_refused = 0;
    qint64 m_sent = 0;
    qint64 m_discarded = 0;
    qint64 m_completed = 0;
    qint64 m_completedByAnother = 0; // with the reply to a request that was gone
    qint64 m_deleted = 0;
    qint64 m_lost = 0;
    qint64 m_doubled = 0;
    qint64 m_outOfOrder = 0;
    qint64 m_unexpected = 0;
};

#endif
