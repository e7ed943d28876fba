#ifndef PROXYTRAFFIC_H
#define PROXYTRAFFIC_H

#include "KVTServerMessageOldProxy.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

#include <memory>

/// Reads through a plain proxy, as an application does that was written for the old interface: it
/// goes by result 4 and by a timer of its own, and makes a new proxy when the server has gone.
class ProxyTraffic : public QObject
{
    Q_OBJECT

public:
    explicit ProxyTraffic(const QString &key);
    ~ProxyTraffic() override;

    void start();
    /// Ends the proxy.
    void stop();

    qint64 requests() const;
    qint64 completed() const;
    qint64 failedWrites() const;
    /// Requests that were never completed.
    qint64 unanswered() const;
    /// Proxies made.
    int proxies() const;

private:
    void goOn();
    void connectToServer();
    void request();
    void giveUpProxy();

    const QString m_key;
    QTimer m_timer;
    std::unique_ptr<KVTServerMessageOldProxy> m_proxy;
    std::unique_ptr<QObject> m_packages; // parent of those that the proxy has
    QElapsedTimer m_sinceAnswer;
    bool m_isBusy = false;
    bool m_isLost = false;
    qint64 m_requests = 0;
    qint64 m_completed = 0;
    qint64 m_failedWrites = 0;
    qint64 m_unanswered = 0;
    int m_underWay = 0;
    int m_proxies = 0;
};

#endif
