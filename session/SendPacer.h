#ifndef SENDPACER_H
#define SENDPACER_H

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <deque>
#include <functional>

/// Hands over requests and commands no faster than the proxy sends them, in order. What waits here
/// can still be withdrawn; what the proxy has cannot.
class SendPacer : public QObject
{
    Q_OBJECT

public:
    /// Sends something; false when it has been withdrawn and nothing is sent. It keeps to itself
    /// that memory has run out.
    using Turn = std::function<bool()>;

    /// \a isHeldUp tells whether the proxy has not yet sent what it was given: its own pace is
    /// never quite that of a clock.
    explicit SendPacer(std::function<bool()> isHeldUp);

    /// Has \a turn called in its turn, at once when nothing was sent for a while. It must not
    /// delete the pacer.
    void add(Turn turn);
    /// Forgets all that waits.
    void clear();

private:
    void goOn();
    qint64 waitNs() const;

    const std::function<bool()> m_isHeldUp;
    std::deque<Turn> m_turns;
    QElapsedTimer m_clock;
    QTimer m_timer;
    qint64 m_earliestNs = 0; // when the next one would be due at an even pace
};

#endif
