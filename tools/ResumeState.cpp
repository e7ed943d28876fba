#include "ResumeState.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

namespace {

const QString Suffix = QStringLiteral(".ksproxyctl-resume");
const QString Offset = QStringLiteral("offset");

} // namespace

ResumeState::ResumeState(const EquipmentAddress &address, const QByteArray &data)
    : m_address(address)
    , m_size(data.size())
    , m_hash(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex())
{ }

QString ResumeState::fileNameFor(const QString &dataFileName)
{
    return dataFileName + Suffix;
}

QString ResumeState::read(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("There is nothing to resume: \"%1\" cannot be read: %2.")
            .arg(fileName, file.errorString());
    const QJsonObject kept = QJsonDocument::fromJson(file.readAll()).object();
    if (kept.isEmpty())
        return QStringLiteral("\"%1\" is no resume file.").arg(fileName);
    const QJsonObject wanted = json();
    const QStringList names = wanted.keys();
    for (const QString &name : names) {
        if (name != Offset && kept.value(name) != wanted.value(name))
            return QStringLiteral("\"%1\" belongs to another load: its %2 is not that of this one.")
                .arg(fileName, name);
    }
    const int offset = kept.value(Offset).toInt(-1);
    if (offset < 0 || offset >= m_size)
        return QStringLiteral("\"%1\" holds no offset within the data.").arg(fileName);
    m_offset = offset;
    return QString();
}

QString ResumeState::write(const QString &fileName) const
{
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(json()).toJson()) >= 0
        && file.commit())
        return QString();
    return QStringLiteral("\"%1\" cannot be written: %2.").arg(fileName, file.errorString());
}

int ResumeState::offset() const
{
    return m_offset;
}

void ResumeState::setOffset(int offset)
{
    m_offset = offset;
}

QJsonObject ResumeState::json() const
{
    return {{QStringLiteral("key"), m_address.key},
            {QStringLiteral("address"), static_cast<qint64>(m_address.address)},
            {QStringLiteral("port"), m_address.port},
            {QStringLiteral("board"), m_address.scanBoard},
            {QStringLiteral("deviceType"), m_address.deviceType},
            {QStringLiteral("size"), m_size},
            {QStringLiteral("sha256"), QString::fromLatin1(m_hash)},
            {Offset, m_offset}};
}
