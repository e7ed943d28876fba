#include "SessionFixture.h"

SessionOptions SessionFixture::options()
{
    SessionOptions options;
    options.startsServer = false;
    options.registrationTimeoutMs = WaitLimitMs;
    options.requestTimeoutMs = WaitLimitMs;
    return options;
}

bool SessionFixture::open(const QStringList &serverArguments, const SessionOptions &sessionOptions)
{
    return server.start(serverArguments) && session.open(sessionOptions)
        && waitFor(DeviceSession::State::Ready);
}

// Until it has been signalled: the state itself changes before.
bool SessionFixture::waitFor(DeviceSession::State state) const
{
    return QTest::qWaitFor(
        [&] {
            const QStringList states = recorder.states();
            return session.state() == state && !states.isEmpty()
                && states.last()
                == QString::fromLatin1(QMetaEnum::fromType<DeviceSession::State>().valueToKey(
                    static_cast<int>(state)));
        },
        WaitLimitMs);
}

namespace {

template <typename Outcome>
bool waitUntilFinished(const Outcome &outcome)
{
    return QTest::qWaitFor([&] { return outcome.isFinished(); }, WaitLimitMs);
}

} // namespace

bool waitForEnd(const DeviceReply &reply)
{
    return waitUntilFinished(reply);
}

bool waitForEnd(const DeviceTransfer &transfer)
{
    return waitUntilFinished(transfer);
}
