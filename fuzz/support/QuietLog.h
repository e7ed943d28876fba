#ifndef QUIETLOG_H
#define QUIETLOG_H

#include <QtGlobal>

/// While one lives, the library logs into nothing: texts would take more time than what is tested.
class QuietLog
{
public:
    QuietLog()
        : m_previous(
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}))
    { }
    ~QuietLog()
    {
        qInstallMessageHandler(m_previous);
    }

private:
    Q_DISABLE_COPY_MOVE(QuietLog)

    const QtMessageHandler m_previous;
};

#endif
