#include "Timeline.h"

#include "ServerLog.h"

#include <QTimer>

Timeline::Timeline(const QVector<Scenario::Event> &events, DeviceServer *server)
    : m_events(events)
    , m_server(server)
{ }

void Timeline::start()
{
    for (const Scenario::Event &event : qAsConst(m_events))
        QTimer::singleShot(event.atMs, Qt::PreciseTimer, this, [this, event] {
            carryOut(event);
            if (event.everyMs > 0 && event.times != 1)
                repeat(event);
        });
}

void Timeline::carryOut(const Scenario::Event &event)
{
    QJsonObject answer;
    const QString error = event.command(m_server, &answer);
    if (!error.isEmpty())
        ServerLog::line(event.place + QLatin1String(": ") + error);
}

void Timeline::repeat(const Scenario::Event &event)
{
    auto *const timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, [this, timer, event, left = event.times - 1]() mutable {
        carryOut(event);
        if (--left == 0)
            timer->deleteLater();
    });
    timer->start(event.everyMs);
}
