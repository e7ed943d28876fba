#ifndef FAILINGSTAGE_H
#define FAILINGSTAGE_H

#include "AnsweringPeer.h"
#include "FailingCalls.h"
#include "FailingScenario.h"
#include "KVTServerMessageOldProxy.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

/// Makes a \a Type of which no call counts.
template <typename Type>
std::unique_ptr<Type> makePaused()
{
    const FailingCalls::Pause pause;
    return std::make_unique<Type>();
}

/// The server of a scenario, on a thread of its own. It answers requests but those for "silent",
/// and an order "9:text" with the message 9 that carries that text.
class StagePeer
{
public:
    /// \a registration is the answer to a registration, as an order's text.
    explicit StagePeer(const QByteArray &registration = confirmation());
    ~StagePeer();

    static QByteArray confirmation();
    /// Ends it, and with it all connections.
    void stop();
    /// Commands and requests so far.
    int messages() const;

private:
    Q_DISABLE_COPY_MOVE(StagePeer)

    QByteArray answer(const QByteArray &body);

    const QByteArray m_registration;
    std::atomic<int> m_messages{0};
    std::unique_ptr<AnsweringPeer> m_peer;
};

/// Serves events until \a condition holds; false when it does not in time.
bool serveUntil(const std::function<bool()> &condition);
/// Deletes what was to be deleted later.
void serveDeletions();

/// A proxy for one scenario.
class StageProxy
{
public:
    StageProxy();
    ~StageProxy();

    KVTServerMessageOldProxy *operator->() const
    {
        return m_proxy.get();
    }
    KVTServerMessageOldProxy *get() const
    {
        return m_proxy.get();
    }

    /// Initialises and registers, up to the confirmation.
    Verdict registerAtPeer();
    /// What to say when \a missing did not come: reported when the connection is gone, which the
    /// proxy tells with the next request.
    Verdict missing(const char *missing);

private:
    Q_DISABLE_COPY_MOVE(StageProxy)

    std::unique_ptr<KVTServerMessageOldProxy> m_proxy;
};

/// A request and what became of it. Terminates the proxy when it goes, since that may still have
/// it.
template <typename Package>
class StageRequest
{
public:
    StageRequest(StageProxy *proxy, const QString &key);
    ~StageRequest();

    Package *package() const
    {
        return m_package.data();
    }
    int completions() const
    {
        return m_completions;
    }
    TarnEnum::CommResults result() const
    {
        return m_result;
    }
    /// Waits for the completion after it was sent, or was not.
    Verdict finish(bool isSent);

private:
    Q_DISABLE_COPY_MOVE(StageRequest)

    StageProxy *const m_proxy;
    QPointer<Package> m_package;
    int m_completions = 0;
    TarnEnum::CommResults m_result = TarnEnum::Success;
};

extern template class StageRequest<PackageRequestReadData>;
extern template class StageRequest<PackageRequestWriteData>;

#endif
