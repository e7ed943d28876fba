#ifndef SERVEROPTIONS_H
#define SERVEROPTIONS_H

#include "RegisterAnswer.h"

#include <QString>
#include <QStringList>

class QCommandLineOption;
class QCommandLineParser;

/// What the command line says.
struct ServerOptions
{
    QString configFile; ///< empty for the built-in equipment
    QString scenarioFile; ///< empty for none
    QString controlName; ///< of the control channel's socket; empty for none
    int latencyMs = 0; ///< how long each request waits before it is acted on
    RegisterAnswer registerAnswer = RegisterAnswer::Accept;
    int exitWhenIdleSeconds = 0; ///< 0 for never
    bool isVerbose = false;
};

/// Reads the command line.
class ServerOptionsReader
{
public:
    enum class Outcome {
        Run, ///< `options` holds what was asked for
        Print, ///< `text` is what was asked for: the help or the version
        Refuse, ///< `text` says what is wrong
    };

    /// \a arguments with the program's name in front.
    Outcome read(const QStringList &arguments);

    const ServerOptions &options() const;
    QString text() const;

private:
    bool readName(const QCommandLineParser &parser, const QCommandLineOption &option,
                  QString *name);
    Outcome refuse(const QString &reason);

    ServerOptions m_options;
    QString m_text;
};

#endif
