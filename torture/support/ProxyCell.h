#ifndef PROXYCELL_H
#define PROXYCELL_H

#include "KVTServerMessageOldProxy.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "ReentrancyCell.h"
#include "SteeredServer.h"

#include <QPointer>

/// A proxy's signals and completion handlers, and what may, and may not, be done in them.
class ProxyCell : public ReentrancyCell
{
public:
    static QStringList occasions();
    static QStringList deeds();

    ~ProxyCell() override;

    QString play(const QString &occasion, const QString &deed) override;

protected:
    void carryOut() override;

private:
    using Step = void (ProxyCell::*)();
    struct NamedStep
    {
        const char *name;
        Step step;
    };
    static const QList<NamedStep> &allOccasions();
    static const QList<NamedStep> &allDeeds();

    bool bringUp();
    bool recover();
    bool isReadable();
    template <typename Package>
    Package *newRequest();
    template <typename Signal>
    void connectTo(Signal signal);

    // Occasions
    void changeTable();
    void beginConnecting();
    void beginConnectingAll();
    void completeConnectingAll();
    void completeConnectingOne();
    void refuseRegistration();
    void broadcast();
    void completeRead();
    void completeWrite();
    void completeRefusedRead();
    void readFrom(const QString &key);
    void completeUnwritten();
    void releaseReply();
    void register_();

    // Deeds
    void read();
    void write();
    void readALot();
    void sendAgain();
    void askForTheUnsupported();
    void connectOne();
    void connectAll();
    void cancelAll();
    void cancelOne();
    void order();
    void switchAutoConnect();
    void command();
    void unRegister();
    void registerAgain();
    void terminate();
    void terminateAndInitalize();
    void beginAnew();
    void initalize();
    void startServer();
    void askEverything();
    void replaceTable();
    void raiseByHand();
    void receiveByHand();
    void turnLoops();
    void runLoop();
    void processEvents();
    void runLoopThatTerminates();
    void runLoopThatRegisters();
    void useAnotherProxy();
    void changePackageType();
    void disconnectAll();
    void connectMore();
    void deleteProxyLater();
    void deleteRequestLater();
    void deleteReplyLater();
    // Against the rules, but nothing may be corrupted
    void deleteProxy();
    void deleteRequest();
    void deleteReply();
    void runLoopThatDeletes();
    void throwText();

    SteeredServer m_server;
    bool m_isServerGone = false;
    QObject m_packages; // parent of the requests
    QPointer<KVTServerMessageOldProxy> m_proxy;
    QPointer<PackageRequestReadData> m_request; // whose handler is the occasion
    QPointer<PackageBase> m_reply; // what the occasion brings
    bool m_mayThrow = false;
    int m_sent = 0; // further requests that must be answered
    int m_answered = 0;
    Step m_deed = nullptr;
};

#endif
