#include "KVTServerMessageOldProxy.h"

#include "EquipmentKeyText.h"

#include <QDebug>

namespace {

constexpr QChar RecordSeparator = u',';
constexpr QChar FieldSeparator = u'/';
constexpr int UsedFields = 5;

// A record that is too short is passed over without a word: the server may send records of a kind
// that this class does not know.
void addRecord(const QStringRef &record, QMap<QString, EquipmentInfo> *table)
{
    const QVector<QStringRef> fields = record.split(FieldSeparator);
    if (fields.size() < UsedFields)
        return;
    const QString key = EquipmentKeyText::unescaped(fields[0].toString());
    EquipmentInfo &entry = (*table)[key]; // the last record with a key wins
    entry.shortValue = static_cast<qint16>(fields[1].toInt());
    entry.longValue = fields[2].toInt();
    entry.text = fields[3].toString();
    entry.intValue = fields[4].toInt();
    entry.connectionKey = key;
    entry.connectionKeyCopy = key;
}

} // namespace

bool KVTServerMessageOldProxy::ParseEquipmentTable(QString table)
{
    try {
        if (table.isEmpty()) {
            clearEquipmentTable();
            return false;
        }
        QMap<QString, EquipmentInfo> equipment;
        const QVector<QStringRef> records = table.splitRef(RecordSeparator);
        for (const QStringRef &record : records)
            addRecord(record, &equipment);
        setEquipmentTable(equipment);
        return true;
    } catch (const QString &error) {
        // Another build of the interface may throw a text; the application gets false instead.
        qDebug() << "ParseEquipmentTable" << tr("客户端更新设备表异常：") << error;
        return false;
    }
}
