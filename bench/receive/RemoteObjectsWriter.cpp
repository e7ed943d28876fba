// Emits bodies through a source of Qt Remote Objects.
#include "Batches.h"
#include "rep_Payloads_source.h"

#include <QCoreApplication>
#include <QRemoteObjectHost>

#include <cstdio>

/// Its slot is called by the replica.
class PayloadsWriter : public PayloadsSimpleSource
{
    Q_OBJECT

public Q_SLOTS:
    void order(QByteArray bytes) override
    {
        m_batches.start(Order::read(bytes.constData()));
    }

private:
    Batches m_batches{[this](const QByteArray &body) { Q_EMIT payload(body); }};
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    PayloadsWriter writer;
    QRemoteObjectHost host(QUrl(QStringLiteral("local:benchobjects")));
    if (!host.enableRemoting(&writer)) {
        std::fputs("bench_peer_remoteobjects: cannot be reached\n", stderr);
        return 1;
    }
    std::puts("listening");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

#include "RemoteObjectsWriter.moc"
