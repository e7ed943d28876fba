#ifndef WAITING_H
#define WAITING_H

#include <QTest>

/// How long a test waits for a condition before it fails. Long, since nothing waits when all is
/// well, and a sanitizer build on a loaded machine is slow.
constexpr int WaitLimitMs = 20000;

// Qt's own looks every 50 ms only, which over all tests adds up to minutes; qWaitFor looks every
// 10 ms.
#undef QTRY_IMPL
#define QTRY_IMPL(expression, timeout)                                                             \
    static_cast<void>(QTest::qWaitFor([&] { return static_cast<bool>(expression); }, timeout))

#endif
