#ifndef RECEPTIONMODEL_H
#define RECEPTIONMODEL_H

#include "EquipmentInfo.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

/// What a proxy must come to when it receives messages and handles replies, as values. Requests are
/// known by an index.
struct ReceptionModel
{
    struct Completion
    {
        int request;
        int replyType; ///< what kind of package the reply must be

        bool operator==(const Completion &other) const
        {
            return request == other.request && replyType == other.replyType;
        }
    };

    struct PendingRequest
    {
        int index; ///< `Command` for what a command leaves behind
        quint64 serialNum;
    };
    static constexpr int Command = -1;

    void setByteArrayMode(bool isOn);
    void receive(const QByteArray &body);
    /// Handles all queued replies.
    void drain();
    /// Delivers what was posted.
    void deliver();

    bool isRegistered = false;
    QString version;
    QMap<QString, EquipmentInfo> table;
    QList<PendingRequest> pending;

    QList<Completion> completions;
    QList<int> broadcasts; ///< their types
    int keptObjects = 0; ///< replies that nobody waited for and broadcasts that were not raised
    int equipmentChanges = 0;
    QList<QString> beginningPorts;
    int registerErrors = 0;
    int allBeginning = 0;
    int allCompleted = 0;

private:
    struct QueuedReply
    {
        int id;
        QString text;
        QByteArray bytes;
    };

    void queueReply(int id, const QByteArray &rest);
    void complete(const QueuedReply &reply);
    void raise(const QueuedReply &reply);

    QList<QueuedReply> m_queue;
    bool m_isByteArrayMode = false;
    int m_postedErrors = 0;
    int m_postedBeginnings = 0;
    int m_postedCompletions = 0;
};

#endif
