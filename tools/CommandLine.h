#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include <QStringList>

#include <memory>
#include <vector>

class Verb;

/// Reads the command line.
class CommandLine
{
public:
    enum class Outcome {
        Run, ///< `verb` holds what was asked for
        Print, ///< `text` is what was asked for: a help or the version
        Refuse, ///< `text` says what is wrong
    };

    CommandLine();
    ~CommandLine();

    /// \a arguments with the program's name in front.
    Outcome read(const QStringList &arguments);

    Verb *verb() const;
    QString text() const;

private:
    Q_DISABLE_COPY_MOVE(CommandLine)

    const std::vector<std::unique_ptr<Verb>> m_verbs;
    Verb *m_verb = nullptr;
    QString m_text;
};

#endif
