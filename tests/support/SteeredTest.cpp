#include "SteeredTest.h"

#include "Waiting.h"

#include <QTest>

void SteeredTest::init()
{
    m_server.reset(new SteeredServer);
    m_client.reset(new RawClient);
    // No heartbeat comes between what a test looks at.
    const QString scenario
        = SteeredServer::written(QStringLiteral("quiet.json"), R"({"heartbeat":0})");
    QVERIFY2(m_server->start({QStringLiteral("--scenario"), scenario}),
             qPrintable(m_server->process.errors()));
    QVERIFY(m_client->registerAtServer());
    m_client->clear();
}

void SteeredTest::cleanup()
{
    m_client.reset();
    if (m_server->process.isRunning())
        QVERIFY2(m_server->end(), qPrintable(m_server->process.errors()));
    m_server.reset();
}

bool SteeredTest::tell(const QByteArray &json)
{
    return m_server->control.tell(json);
}

QJsonObject SteeredTest::call(const QByteArray &json)
{
    return m_server->control.call(json);
}

QString SteeredTest::errorOf(const QJsonObject &answer)
{
    return answer.value(QLatin1String("error")).toString();
}

bool SteeredTest::isServed(RawClient *client)
{
    const int before = client->count(18);
    client->send(14, "identify");
    return QTest::qWaitFor([&] { return client->count(18) > before; }, WaitLimitMs);
}
