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

bool waitForEnd(const DeviceReply &reply)
{
    return QTest::qWaitFor([&] { return reply.isFinished(); }, WaitLimitMs);
}
