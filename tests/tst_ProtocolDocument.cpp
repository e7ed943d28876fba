#include "Document.h"
#include "EquipmentTableText.h"
#include "FrameReader.h"
#include "MessageBody.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"
#include "TestMain.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

namespace {

/// The bytes at the beginning of a line, in pairs of hexadecimal digits.
QByteArray bytesOf(const QString &line)
{
    static const QRegularExpression digits(QStringLiteral("^(?:[0-9A-F]{2} {1,3})+"));
    return QByteArray::fromHex(digits.match(line + QLatin1Char(' ')).captured().toLatin1());
}

/// With another serial number, which each package has its own of.
QString renumbered(QString text, const QString &line)
{
    static const QRegularExpression number(QStringLiteral("^serialNum=\\d+"));
    return text.replace(number, number.match(line).captured());
}

std::unique_ptr<PackageBase> readHello()
{
    auto request = std::make_unique<PackageRequestReadData>();
    request->setServerConnectionKey(QStringLiteral("COM1/1"));
    request->setLowAddr(0x40);
    request->setTimeout(1000);
    request->setTag(QStringLiteral("a b"));
    request->setReadLength(5);
    return request;
}

std::unique_ptr<PackageBase> writeHello()
{
    auto request = std::make_unique<PackageRequestWriteData>();
    request->setServerConnectionKey(QStringLiteral("COM1"));
    request->setLowAddr(0x40);
    request->setData("Hello");
    return request;
}

} // namespace

/// What docs/protocol.md shows, byte by byte, is what the library does.
class tst_ProtocolDocument : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void showsFrames();
    void showsATable();
    void showsAnEscapedKey();
    void showsARequestToRead();
    void showsItsReply();
    void showsARequestToWriteAndItsReply();
    void showsTheByteForm();

private:
    QStringList m_blocks; ///< in the order of the document
};

void tst_ProtocolDocument::initTestCase()
{
    m_blocks = Document::blocks(QStringLiteral("docs/protocol.md"), QString());
    QCOMPARE(m_blocks.size(), 7);
}

void tst_ProtocolDocument::showsFrames()
{
    const QStringList lines = m_blocks.at(0).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2);
    FrameReader reader;
    reader.append(bytesOf(lines.at(0)));
    QByteArray body;
    QVERIFY(reader.takeFrame(&body));
    QCOMPARE(MessageBody::id(body), 3);
    QCOMPARE(MessageBody::text(body), QStringLiteral("COM1"));
    QVERIFY(lines.at(0).endsWith(QLatin1String("a body of 5 bytes: identifier 3, text \"COM1\"")));
    reader.append(bytesOf(lines.at(1)));
    QVERIFY(reader.takeFrame(&body));
    QVERIFY(body.isEmpty());
    QVERIFY(reader.isEmpty());
}

void tst_ProtocolDocument::showsATable()
{
    const QMap<QString, EquipmentInfo> table = EquipmentTableText::read(m_blocks.at(1).trimmed());
    QCOMPARE(table.keys(), QStringList{QStringLiteral("k1")});
    QCOMPARE(table.first().shortValue, qint16(1));
    QCOMPARE(table.first().longValue, qint64(2));
    QCOMPARE(table.first().text, QStringLiteral("A"));
    QCOMPARE(table.first().intValue, 5);
}

void tst_ProtocolDocument::showsAnEscapedKey()
{
    const QString line = m_blocks.at(2).trimmed();
    const QString record = line.section(QLatin1Char(' '), 0, 0);
    const QString key = line.section(QStringLiteral("the key is  "), 1);
    QCOMPARE(EquipmentTableText::read(record).keys(), QStringList{key});
}

void tst_ProtocolDocument::showsARequestToRead()
{
    const QString line = m_blocks.at(3).trimmed();
    QCOMPARE(renumbered(readHello()->toRequestString(), line), line);
}

void tst_ProtocolDocument::showsItsReply()
{
    const QString line = m_blocks.at(4).trimmed();
    const std::unique_ptr<PackageBase> reply = readHello();
    reply->setData("Hello");
    QCOMPARE(renumbered(reply->toReplyString(), line), line);
}

void tst_ProtocolDocument::showsARequestToWriteAndItsReply()
{
    const QStringList lines = m_blocks.at(5).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2);
    const std::unique_ptr<PackageBase> package = writeHello();
    QCOMPARE(renumbered(package->toRequestString(), lines.at(0)), lines.at(0));
    package->setData(QByteArray());
    QCOMPARE(renumbered(package->toReplyString(), lines.at(1)), lines.at(1));
}

void tst_ProtocolDocument::showsTheByteForm()
{
    QByteArray shown;
    const QStringList lines = m_blocks.at(6).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines)
        shown += bytesOf(line);
    const std::unique_ptr<PackageBase> request = readHello();
    request->fromString(QStringLiteral("serialNum=1"));
    QCOMPARE(request->toByteArray().toHex(), shown.toHex());
}

KSPROXY_TEST_MAIN(tst_ProtocolDocument)
#include "tst_ProtocolDocument.moc"
