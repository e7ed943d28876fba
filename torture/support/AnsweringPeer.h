#ifndef ANSWERINGPEER_H
#define ANSWERINGPEER_H

#include <QByteArray>
#include <QList>
#include <QSemaphore>
#include <QThread>

#include <functional>
#include <memory>

/// The other end of the local socket "tarnSver" on a thread of its own: answers each message at
/// once and keeps the bodies of all of them.
class AnsweringPeer
{
public:
    /// The bytes to send for a message's body, none for no answer. Called on the peer's thread.
    using Answer = std::function<QByteArray(const QByteArray &body)>;

    /// Returns when it listens.
    explicit AnsweringPeer(Answer answer);
    ~AnsweringPeer();

    /// Ends the thread; all bodies in the order of their arrival.
    QList<QByteArray> finish();

private:
    Q_DISABLE_COPY_MOVE(AnsweringPeer)

    void serve();
    QByteArray answersTo(QByteArray *received);

    const Answer m_answer;
    QList<QByteArray> m_bodies; // of the peer's thread until that has ended
    QSemaphore m_listening;
    const std::unique_ptr<QThread> m_thread;
};

#endif
