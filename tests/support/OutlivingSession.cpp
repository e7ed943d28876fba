#include "DeviceSession.h"

#include <QCoreApplication>

// A session that is ready, with a request under way, when the application object goes, and that is
// destroyed only afterwards. Exits with 0 when it came so far.
int main(int argc, char **argv)
{
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    DeviceSession session;
    SessionOptions options;
    options.startsServer = false;
    session.open(options);
    while (session.state() != DeviceSession::State::Ready
           && session.state() != DeviceSession::State::Closed)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const bool isReady = session.state() == DeviceSession::State::Ready;
    session.read({QStringLiteral("COM1"), 0}, 4);
    application.reset();
    return isReady ? 0 : 1;
}
