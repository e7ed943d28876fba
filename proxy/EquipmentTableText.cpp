#include "EquipmentTableText.h"

#include "EquipmentKeyText.h"

#include <QStringList>
#include <QStringView>

#include <algorithm>
#include <vector>

namespace {

constexpr QChar RecordSeparator = u',';
constexpr QChar FieldSeparator = u'/';
constexpr QChar EscapeMark = u'#'; // part of every escape
constexpr int UsedFields = 5;
constexpr int LongestPlainNumber = 9; // digits that cannot leave the range

/// What one record says. Its texts belong to the table's text or to the reader.
struct Record
{
    QStringView key;
    QStringView text;
    qint16 shortValue;
    int longValue;
    int intValue;
};

/// Reads records one after another.
class RecordReader
{
public:
    explicit RecordReader(QStringView text)
        : m_next(text.begin())
        , m_end(text.end())
    { }

    std::vector<Record> read();

    /// Whether each key was greater than the one before.
    bool isSorted() const
    {
        return m_isSorted;
    }

private:
    bool readFields(QStringView (&fields)[UsedFields]);
    QStringView unescaped(QStringView key);

    const QChar *m_next;
    const QChar *m_end;
    bool m_isSorted = true;
    QStringList m_unescapedKeys;
};

int toInt(QStringView field)
{
    int value = 0;
    for (const QChar digit : field) {
        if (digit < u'0' || digit > u'9' || field.size() > LongestPlainNumber)
            return field.toString().toInt();
        value = 10 * value + (digit.unicode() - u'0');
    }
    return value;
}

std::vector<Record> RecordReader::read()
{
    std::vector<Record> records;
    QStringView fields[UsedFields];
    for (;; ++m_next) {
        // A record that is too short is passed over without a word: the server may send records of
        // a kind that this class does not know.
        if (readFields(fields)) {
            const QStringView key = unescaped(fields[0]);
            m_isSorted = m_isSorted && (records.empty() || records.back().key < key);
            records.push_back({key, fields[3], static_cast<qint16>(toInt(fields[1])),
                               toInt(fields[2]), toInt(fields[4])});
        }
        if (m_next == m_end)
            return records;
    }
}

// Up to the record's end, where m_next then stands.
bool RecordReader::readFields(QStringView (&fields)[UsedFields])
{
    int count = 0;
    const QChar *begin = m_next;
    for (;; ++m_next) {
        const bool isEnd = m_next == m_end || *m_next == RecordSeparator;
        if (!isEnd && *m_next != FieldSeparator)
            continue;
        if (count < UsedFields)
            fields[count] = QStringView(begin, m_next);
        ++count;
        if (isEnd)
            return count >= UsedFields;
        begin = m_next + 1;
    }
}

QStringView RecordReader::unescaped(QStringView key)
{
    if (std::find(key.begin(), key.end(), EscapeMark) == key.end())
        return key;
    m_unescapedKeys.append(EquipmentKeyText::unescaped(key.toString()));
    return m_unescapedKeys.constLast();
}

void append(const Record &record, QMap<QString, EquipmentInfo> *table)
{
    static const EquipmentInfo blank;
    const QString key = record.key.toString();
    EquipmentInfo &entry = *table->insert(table->cend(), key, blank);
    entry.shortValue = record.shortValue;
    entry.longValue = record.longValue;
    entry.text = record.text.toString();
    entry.intValue = record.intValue;
    entry.connectionKey = key;
    entry.connectionKeyCopy = key;
}

} // namespace

QMap<QString, EquipmentInfo> EquipmentTableText::read(const QString &text)
{
    RecordReader reader(text);
    std::vector<Record> records = reader.read();
    // A map is filled in the order of its keys at a fraction of the cost, and equal keys stay in
    // the order in which they came.
    if (!reader.isSorted()) {
        std::stable_sort(
            records.begin(), records.end(),
            [](const Record &left, const Record &right) { return left.key < right.key; });
    }
    QMap<QString, EquipmentInfo> table;
    for (const Record &record : records)
        append(record, &table);
    return table;
}
