#ifndef REGISTERANSWER_H
#define REGISTERANSWER_H

#include <QStringList>

/// How the server answers a registration.
enum class RegisterAnswer { Accept, Reject, Error, Silent };

/// The names of the answers, in their order.
inline QStringList registerAnswerNames()
{
    return {QStringLiteral("accept"), QStringLiteral("reject"), QStringLiteral("error"),
            QStringLiteral("silent")};
}

#endif
