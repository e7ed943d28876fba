#ifndef CHOSENARGS_H
#define CHOSENARGS_H

#include "EventArgs.h"

/// The arguments that fit an event type, with a content to be recognised.
enum class Args { None, Plain, Connect, RegisterError };

inline void *makeArgs(Args kind)
{
    switch (kind) {
    case Args::Plain:
        return new EventArgs(42);
    case Args::Connect: {
        auto *const args = new ConnectEquipmentEventArgs;
        args->setPortNam(QStringLiteral("COM7"));
        return args;
    }
    case Args::RegisterError: {
        auto *const args = new NotifyRegisterErrorEventArgs;
        args->setErrInfo(QStringLiteral("no room"));
        return args;
    }
    case Args::None:
        break;
    }
    return nullptr;
}

/// Destroys what an object that nobody deleted still holds, but not its memory.
inline void destroyContent(void *args, Args kind)
{
    if (kind == Args::Connect)
        static_cast<ConnectEquipmentEventArgs *>(args)->~ConnectEquipmentEventArgs();
    else if (kind == Args::RegisterError)
        static_cast<NotifyRegisterErrorEventArgs *>(args)->~NotifyRegisterErrorEventArgs();
}

Q_DECLARE_METATYPE(Args)

#endif
