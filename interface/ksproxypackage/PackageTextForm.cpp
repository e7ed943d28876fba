#include "PackageTextForm.h"

#include "PackageFields.h"

#include <QTextCodec>

#include <algorithm>
#include <limits>

namespace {

constexpr QChar FieldSeparator = u';';
constexpr QChar ValueSeparator = u'=';

void append(QByteArray *text, const char *name, const QByteArray &value)
{
    if (!text->isEmpty())
        text->append(';');
    text->append(name).append('=').append(value);
}

void append(QByteArray *text, const char *name, const QString &value)
{
    append(text, name, value.toUtf8().toPercentEncoding());
}

void append(QByteArray *text, const char *name, int value)
{
    append(text, name, QByteArray::number(value));
}

QByteArray header(const PackageFields &fields)
{
    QByteArray text;
    append(&text, "serialNum", QByteArray::number(fields.serialNum));
    append(&text, "readWriteCode", fields.readWriteCode);
    append(&text, "clientPackageType", fields.clientPackageType);
    append(&text, "serverConnectionKey", fields.serverConnectionKey);
    append(&text, "deviceType", fields.deviceType);
    append(&text, "portAddr", fields.portAddr);
    append(&text, "scanBoardAddr", fields.scanBoardAddr);
    append(&text, "desAddr", fields.desAddr);
    append(&text, "scrAddr", fields.scrAddr);
    append(&text, "highAddr", fields.highAddr);
    append(&text, "lowAddr", fields.lowAddr);
    append(&text, "reserved2", fields.reserved2);
    append(&text, "timeout", fields.timeout);
    append(&text, "tag", fields.tag);
    return text;
}

// Qt alone would also take blanks, a plus sign and other scripts' minus signs.
bool isDecimal(const QStringRef &value)
{
    const QStringRef digits = value.startsWith(QLatin1Char('-')) ? value.mid(1) : value;
    return !digits.isEmpty() && std::all_of(digits.cbegin(), digits.cend(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
}

template <typename Integer>
bool readInteger(const QStringRef &value, Integer *target)
{
    bool ok = false;
    const qlonglong number = value.toLongLong(&ok);
    if (!ok || !isDecimal(value) || number < std::numeric_limits<Integer>::min()
        || number > std::numeric_limits<Integer>::max())
        return false;
    *target = static_cast<Integer>(number);
    return true;
}

bool readSerialNum(const QStringRef &value, quint64 *target)
{
    bool ok = false;
    const qulonglong number = value.toULongLong(&ok);
    if (!ok || !isDecimal(value))
        return false;
    *target = number;
    return true;
}

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isPercentEncoded(const QByteArray &text)
{
    for (int i = text.indexOf('%'); i >= 0; i = text.indexOf('%', i + 3)) {
        if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))
            return false;
    }
    return true;
}

bool isAscii(const QStringRef &value)
{
    for (const QChar c : value) {
        if (c.unicode() > 0x7F)
            return false;
    }
    return true;
}

bool readText(const QStringRef &value, QString *target)
{
    if (!isAscii(value))
        return false;
    const QByteArray encoded = value.toLatin1();
    if (!isPercentEncoded(encoded))
        return false;
    const QByteArray utf8 = QByteArray::fromPercentEncoding(encoded);
    // Not QString::fromUtf8: that drops a leading byte order mark and hides invalid bytes.
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    static const QTextCodec *const codec = QTextCodec::codecForName("UTF-8"); // looked up slowly
    const QString text = codec->toUnicode(utf8.constData(), utf8.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return false;
    *target = text;
    return true;
}

bool readData(const QStringRef &value, QByteArray *target)
{
    // Qt would take a text that breaks off inside its last group of four.
    if (value.size() % 4 != 0)
        return false;
    const auto decoded = QByteArray::fromBase64Encoding(
        value.toLatin1(), QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return false;
    *target = *decoded;
    return true;
}

// A reply never changes what its package is: the codes are compared, not taken over. A plain
// package has no kind that they could contradict.
bool agrees(const QStringRef &value, int code, const PackageFields &fields)
{
    int other = 0;
    return fields.readWriteCode == UnknownReadWriteCode
        || (readInteger(value, &other) && other == code);
}

bool readCommResult(const QStringRef &value, TarnEnum::CommResults *target)
{
    int number = 0;
    if (!readInteger(value, &number))
        return false;
    *target = static_cast<TarnEnum::CommResults>(number);
    return true;
}

class Reader
{
public:
    explicit Reader(PackageFields *fields)
        : m_fields(fields)
    { }

    bool readField(const QStringRef &field)
    {
        const int separator = field.indexOf(ValueSeparator);
        return separator >= 0 && readValue(field.left(separator), field.mid(separator + 1));
    }

    /// The announced length can only be compared when all fields have been seen.
    bool isDataComplete() const
    {
        return m_dataLength < 0 || m_dataLength == m_fields->data.size();
    }

private:
    using ValueReader = bool (*)(Reader *, const QStringRef &);
    struct Field
    {
        QLatin1String name;
        ValueReader read;
    };

    bool readValue(const QStringRef &name, const QStringRef &value);
    bool readDataLength(const QStringRef &value)
    {
        return readInteger(value, &m_dataLength) && m_dataLength >= 0;
    }

    PackageFields *const m_fields;
    int m_dataLength = -1;
};

bool Reader::readValue(const QStringRef &name, const QStringRef &value)
{
    using Ref = const QStringRef &;
    static const Field fields[] = {
        {QLatin1String("serialNum"),
         [](Reader *r, Ref v) { return readSerialNum(v, &r->m_fields->serialNum); }},
        {QLatin1String("readWriteCode"),
         [](Reader *r, Ref v) { return agrees(v, r->m_fields->readWriteCode, *r->m_fields); }},
        {QLatin1String("clientPackageType"),
         [](Reader *r, Ref v) { return agrees(v, r->m_fields->clientPackageType, *r->m_fields); }},
        {QLatin1String("serverConnectionKey"),
         [](Reader *r, Ref v) { return readText(v, &r->m_fields->serverConnectionKey); }},
        {QLatin1String("deviceType"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->deviceType); }},
        {QLatin1String("portAddr"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->portAddr); }},
        {QLatin1String("scanBoardAddr"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->scanBoardAddr); }},
        {QLatin1String("desAddr"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->desAddr); }},
        {QLatin1String("scrAddr"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->scrAddr); }},
        {QLatin1String("highAddr"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->highAddr); }},
        {QLatin1String("lowAddr"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->lowAddr); }},
        {QLatin1String("reserved2"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->reserved2); }},
        {QLatin1String("timeout"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->timeout); }},
        {QLatin1String("tag"), [](Reader *r, Ref v) { return readText(v, &r->m_fields->tag); }},
        {QLatin1String("readLength"),
         [](Reader *r, Ref v) { return readInteger(v, &r->m_fields->readLength); }},
        {QLatin1String("commResult"),
         [](Reader *r, Ref v) { return readCommResult(v, &r->m_fields->commResult); }},
        {QLatin1String("dataLength"), [](Reader *r, Ref v) { return r->readDataLength(v); }},
        {QLatin1String("data"), [](Reader *r, Ref v) { return readData(v, &r->m_fields->data); }},
    };
    for (const Field &field : fields) {
        if (name == field.name)
            return field.read(this, value);
    }
    return true;
}

} // namespace

QString PackageTextForm::request(const PackageFields &fields)
{
    QByteArray text = header(fields);
    if (fields.readWriteCode == ReadCode)
        append(&text, "readLength", fields.readLength);
    else if (fields.readWriteCode == WriteCode)
        append(&text, "data", fields.data.toBase64());
    return QString::fromLatin1(text);
}

QString PackageTextForm::reply(const PackageFields &fields)
{
    QByteArray text = header(fields);
    append(&text, "commResult", fields.commResult);
    append(&text, "dataLength", fields.data.size());
    append(&text, "data", fields.data.toBase64());
    return QString::fromLatin1(text);
}

bool PackageTextForm::read(const QString &text, PackageFields *fields)
{
    if (text.isEmpty())
        return false;
    Reader reader(fields);
    bool good = true;
    for (int begin = 0; begin <= text.size();) {
        const int separator = text.indexOf(FieldSeparator, begin);
        const int end = separator < 0 ? text.size() : separator;
        good = reader.readField(text.midRef(begin, end - begin)) && good;
        begin = end + 1;
    }
    return reader.isDataComplete() && good;
}
