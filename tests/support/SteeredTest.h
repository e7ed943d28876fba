#ifndef STEEREDTEST_H
#define STEEREDTEST_H

#include "RawClient.h"
#include "SteeredServer.h"

#include <QScopedPointer>

/// Base of tests that steer a server: each function has a server of its own, without heartbeats
/// between what it looks at, and a registered client.
class SteeredTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

protected:
    bool tell(const QByteArray &json);
    QJsonObject call(const QByteArray &json);
    static QString errorOf(const QJsonObject &answer);
    /// Whether an answer to a further message comes: what is missing then will not come any more.
    static bool isServed(RawClient *client);

    QScopedPointer<SteeredServer> m_server;
    QScopedPointer<RawClient> m_client;
};

#endif
