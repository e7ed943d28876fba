#ifndef OUTGOINGMESSAGE_H
#define OUTGOINGMESSAGE_H

#include <QString>

/// A message from the server to a client.
struct OutgoingMessage
{
    int id = 0;
    QString text;
    QString key = QString(); ///< of the equipment it is about; empty when it is about none
};

#endif
