#include "HeldMessages.h"

#include <utility>

HeldMessages::HeldMessages()
{
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, &HeldMessages::letGo);
}

void HeldMessages::add(const QVector<WirePiece> &message, const Fault &fault)
{
    if (m_messages.isEmpty())
        m_limit.start(static_cast<int>(fault.parameter("ms")));
    m_messages.append(message);
    if (m_messages.size() >= fault.parameter("frames"))
        letGo();
}

void HeldMessages::letGo()
{
    m_limit.stop();
    Q_EMIT complete(std::exchange(m_messages, Messages()));
}
