#include "ProxyQueue.h"

#include "MsgSocketClient.h"
#include "NotifyStruct.h"
#include "TestAccess.h"

ProxyQueue::ProxyQueue(TarnEnum::PackageType type)
{
    m_proxy.setPackageType(type);
}

ProxyQueue::~ProxyQueue()
{
    delete TestAccess::client(m_proxy);
    TestAccess::client(m_proxy) = nullptr;
}

bool ProxyQueue::open()
{
    m_proxy.creatMsgClient();
    MsgSocketClient *const client = TestAccess::client(m_proxy);
    // Connected after the proxy's own slot, so called after it.
    connect(client, &MsgSocketClient::receivedInfos, this, &ProxyQueue::takeQueued);
    return client->connectServer();
}

void ProxyQueue::send(const Order &order)
{
    TestAccess::client(m_proxy)->SendData(order.bytes());
}

void ProxyQueue::takeQueued()
{
    const std::unique_ptr<NotifyStruct> item(TestAccess::takeNotification(m_proxy));
    if (!item)
        return;
    const auto first = static_cast<char>(item->notify());
    if (m_proxy.packageType() == TarnEnum::TextPackage) {
        const QString text = item->strinfo();
        count(first, text.at(text.size() - 1).toLatin1(), text.size() + 1);
    } else {
        const QByteArray bytes = item->getByteArrayInfo();
        count(first, bytes.at(bytes.size() - 1), bytes.size() + 1);
    }
}
