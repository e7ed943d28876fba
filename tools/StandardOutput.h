#ifndef STANDARDOUTPUT_H
#define STANDARDOUTPUT_H

#include <QJsonObject>
#include <QObject>

/// Standard output, where the data goes. Everything written is on its way when the call returns.
class StandardOutput : public QObject
{
    Q_OBJECT

public:
    StandardOutput();

    void write(const QByteArray &bytes);
    void text(const QString &text);
    /// One object in one line.
    void json(const QJsonObject &object);

    static QByteArray jsonLine(const QJsonObject &object);
    static bool isTerminal();

Q_SIGNALS:
    /// Whoever reads it has gone. Also while nothing is written.
    void closed();
    /// It cannot be written, for a reason such as "No space left on device".
    void failed(const QString &reason);

private:
    bool m_isUsable = true;
};

#endif
