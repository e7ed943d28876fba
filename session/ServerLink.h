#ifndef SERVERLINK_H
#define SERVERLINK_H

#include "DeviceBroadcast.h"
#include "EquipmentInfo.h"
#include "Guarded.h"
#include "TarnEnum.h"

#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QQueue>
#include <QTimer>

#include <functional>
#include <memory>

class KVTServerMessageOldProxy;
class PackageBase;

/// One connection to the server through one proxy, from the registration to the loss: turns what
/// the proxy leaves open into signals. The registration's answer is looked for, since the proxy
/// does not signal it; a server that has gone is noticed by a write that fails, and when nothing
/// else is written a small read request is sent for that purpose. A link that is lost never comes
/// back.
///
/// The signals may come from inside the proxy's own calls, except `confirmed`, `refused` and
/// `lost`, in whose slots the link may be deleted.
class ServerLink : public QObject
{
    Q_OBJECT

public:
    /// \a silenceLimitMs as in SessionOptions.
    explicit ServerLink(int silenceLimitMs);
    /// Packages that are still under way are deleted without being completed.
    ~ServerLink() override;

    /// Connects and asks for the registration. False when nobody takes connections; may then be
    /// called again, as it may when no answer comes. Blocks for 50 ms, at most 550, and processes
    /// events, in which anything may happen but the deletion of this link.
    bool connectToServer();

    /// Whether it went on with a former session's connection, which may have been gone already.
    bool isSecondHand() const;

    QString serverVersion() const;
    QMap<QString, EquipmentInfo> equipmentTable() const;

    /// Whether the proxy has several packages that it has not sent yet.
    bool isHeldUp();

    /// Sends \a package; `answered` may follow. False when memory runs out.
    bool send(std::unique_ptr<PackageBase> package);
    /// Gives the proxy a command, by one of its operations that refuse when not registered.
    using Command = std::function<bool(KVTServerMessageOldProxy *)>;
    void command(const Command &operation);

Q_SIGNALS:
    void confirmed();
    void refused(bool withError);
    /// The connection or the registration has gone, or the server is silent.
    void lost(const QString &reason);
    /// A reply to whichever request has that number.
    void answered(quint64 serialNumber, TarnEnum::CommResults result, const QByteArray &data);
    /// In something that nobody asked for just now.
    void outOfMemory();
    void tableReplaced();
    void connectionBeginning(const QString &port);
    void allControllersConnecting();
    void allControllersConnected();
    void broadcastReceived(const DeviceBroadcast &broadcast);

protected:
    void customEvent(QEvent *event) override;

private:
    enum class Purpose { Request, Probe, Catcher };

    void leavePending();
    void connectProxy();
    void emitInTurn(std::function<void()> emission);
    void watch();

    void markTable();
    void markTableAgain();
    bool isMarked() const;
    bool isConfirmed() const;
    void lookForAnswer();
    void concludeRegistration();

    void lookForLoss();
    void lookForTable();
    void sendProbe();
    void addCatchers(int count);
    void loseLater(const QString &reason);
    void loseConnection(const QString &reason);

    bool handOver(std::unique_ptr<PackageBase> package, Purpose purpose);
    void answer(PackageBase *package, Purpose purpose, PackageBase *reply);
    template <typename Work>
    void guardedWork(const Work &work)
    {
        if (!guarded(work))
            Q_EMIT outOfMemory();
    }
    bool hasLeft(quint64 serialNumber) const;
    void complete(PackageBase *package, Purpose purpose, PackageBase *reply);
    void receiveBroadcast(const PackageBase &package);

    KVTServerMessageOldProxy *m_proxy;
    const bool m_isSecondHand;
    QObject m_packages; // parent of the packages that the proxy has
    QQueue<quint64> m_unsent; // serial numbers of packages, as far as is known
    QMap<QString, EquipmentInfo> m_table; // as last looked at
    QTimer m_watch;
    QElapsedTimer m_sinceProbe;
    QElapsedTimer m_sinceAnswer;
    int m_silenceLimitMs;
    int m_unansweredProbes = 0;
    int m_catchers = 0;
    bool m_isFlagCleared = false;
    bool m_hasRegisterError = false;
    bool m_hasConfirmed = false;
    bool m_hasEnded = false; // the registration
    bool m_isLost = false;
    bool m_isUseless = false; // not even the next link can go on with the connection
};

#endif
