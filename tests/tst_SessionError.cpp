#include "SessionError.h"
#include "TestMain.h"

#include <QTest>

using Code = SessionError::Code;

namespace {

const QString Key = QStringLiteral("COM1/2");

} // namespace

/// The session's errors as values.
class tst_SessionError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isNoneUnlessItSaysSo();
    void tellsWhatTheDeviceAnswered_data();
    void tellsWhatTheDeviceAnswered();
    void tellsAResultOfNoName();
    void isNoneForSuccess();
};

void tst_SessionError::isNoneUnlessItSaysSo()
{
    const SessionError none;
    QVERIFY(!none);
    QVERIFY(none.text.isEmpty());
    QVERIFY(!none.deviceResult);

    const SessionError error(Code::NotReady, QStringLiteral("Not now."));
    QVERIFY(error);
    QCOMPARE(error.text, QStringLiteral("Not now."));
    QVERIFY(!error.deviceResult);
}

void tst_SessionError::tellsWhatTheDeviceAnswered_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("word");

    const auto row
        = [](const char *name, TarnEnum::CommResults result, Code code, const char *word) {
              QTest::newRow(name) << static_cast<int>(result) << static_cast<int>(code)
                                  << QString::fromLatin1(word);
          };
    row("timed out", TarnEnum::TimedOut, Code::DeviceTimedOut, "in time");
    row("no equipment", TarnEnum::NoEquipment, Code::NoEquipment, "knows no equipment");
    row("a bad reply", TarnEnum::BadReply, Code::BadReply, "cannot be read");
    row("cancelled", TarnEnum::Cancelled, Code::DeviceCancelled, "cancelled at the server");
    row("rejected", TarnEnum::Rejected, Code::DeviceRefused, "refused");
}

void tst_SessionError::tellsWhatTheDeviceAnswered()
{
    QFETCH(int, result);
    QFETCH(int, code);
    QFETCH(QString, word);

    const SessionError error
        = SessionError::ofDevice(static_cast<TarnEnum::CommResults>(result), Key);
    QVERIFY(error);
    QCOMPARE(static_cast<int>(error.code), code);
    QVERIFY2(error.text.contains(word), qPrintable(error.text));
    QVERIFY2(error.text.contains(QLatin1Char('"') + Key + QLatin1Char('"')),
             qPrintable(error.text));
    QCOMPARE(static_cast<int>(error.deviceResult.value()), result);
}

void tst_SessionError::tellsAResultOfNoName()
{
    const SessionError error
        = SessionError::ofDevice(static_cast<TarnEnum::CommResults>(4711), Key);
    QCOMPARE(error.code, Code::DeviceRefused);
    QVERIFY2(error.text.contains(QStringLiteral("4711")), qPrintable(error.text));
    QVERIFY2(error.text.contains(Key), qPrintable(error.text));
}

void tst_SessionError::isNoneForSuccess()
{
    const SessionError error = SessionError::ofDevice(TarnEnum::Success, Key);
    QVERIFY(!error);
    QVERIFY(error.text.isEmpty());
    QCOMPARE(error.deviceResult.value(), TarnEnum::Success);
}

KSPROXY_TEST_MAIN(tst_SessionError)
#include "tst_SessionError.moc"
