#include "EquipmentUnit.h"

#include "EquipmentKeyText.h"

#include <QStringList>

EquipmentUnit::EquipmentUnit(const EquipmentDescription &description,
                             const QRandomGenerator &random)
    : m_description(description)
    , m_memory(description.memory, description.ports, description.scanBoards)
    , m_random(random)
    , m_isThere(description.appearsAfterMs == 0 && !description.isAbsent)
{
    for (const EquipmentDescription::Preset &preset : description.presets)
        m_memory.write(preset.place, preset.data);
}

const EquipmentDescription &EquipmentUnit::description() const
{
    return m_description;
}

EquipmentMemory *EquipmentUnit::memory()
{
    return &m_memory;
}

bool EquipmentUnit::isThere() const
{
    return m_isThere;
}

void EquipmentUnit::setThere(bool there)
{
    m_isThere = there;
    m_isConnected = false;
}

bool EquipmentUnit::isConnected() const
{
    return m_isConnected;
}

void EquipmentUnit::setConnected(bool connected)
{
    m_isConnected = connected;
}

int EquipmentUnit::takeLatencyMs(int initialMs)
{
    const int latency = m_description.latencyMs < 0 ? initialMs : m_description.latencyMs;
    const int jitter = m_description.jitterMs;
    return jitter > 0 ? latency + m_random.bounded(jitter + 1) : latency;
}

void EquipmentUnit::setLatency(int latencyMs, int jitterMs)
{
    m_description.latencyMs = latencyMs;
    m_description.jitterMs = jitterMs;
}

void EquipmentUnit::setResult(TarnEnum::CommResults result, int count)
{
    m_description.result = result;
    m_resultsLeft = count;
}

TarnEnum::CommResults EquipmentUnit::takeResult()
{
    const TarnEnum::CommResults result = m_description.result;
    if (m_resultsLeft > 0 && --m_resultsLeft == 0)
        m_description.result = TarnEnum::Success;
    return result;
}

QString EquipmentUnit::record() const
{
    return QStringList{EquipmentKeyText::escaped(m_description.key),
                       QString::number(static_cast<int>(m_description.kind)),
                       QString::number(m_description.serial), m_description.text,
                       QString::number(m_isConnected ? 1 : 0)}
        .join(QLatin1Char('/'));
}

QJsonObject EquipmentUnit::state() const
{
    return {{QStringLiteral("key"), m_description.key},
            {QStringLiteral("there"), m_isThere},
            {QStringLiteral("connected"), m_isConnected},
            {QStringLiteral("latency"), m_description.latencyMs},
            {QStringLiteral("jitter"), m_description.jitterMs},
            {QStringLiteral("result"), m_description.result}};
}
