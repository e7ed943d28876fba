#ifndef VERBOPTIONS_H
#define VERBOPTIONS_H

#include <QStringList>

#include <functional>

namespace CLI {
class App;
}

/// What a number may be, and what it counts.
struct NumberRange
{
    qint64 smallest;
    qint64 largest;
    const char *unit;
};

/// The options and arguments of one verb. Each call adds one and says where its value goes; the
/// target keeps what it holds when the option is not given, and must live until the command line
/// has been read.
class VerbOptions
{
public:
    /// \a app stays the caller's.
    explicit VerbOptions(CLI::App *app);

    void flag(const char *name, const QString &description, bool *target);
    /// An empty name is refused.
    void fileName(const char *name, const char *valueName, const QString &description,
                  QString *target);
    /// In decimal or behind "0x". A value outside \a range is refused.
    template <typename Number>
    void number(const char *name, const char *valueName, const QString &description,
                const NumberRange &range, Number *target)
    {
        addNumber(name, valueName, description, range,
                  [target](qint64 number) { *target = static_cast<Number>(number); });
    }
    /// One of \a words; another is refused.
    void choice(const char *name, const QStringList &words, const QString &description,
                QString *target);
    /// \a reader takes the value, or returns what is wrong with it.
    void parsed(const char *name, const char *valueName, const QString &description,
                const std::function<QString(const QString &)> &reader);
    /// Of the options so far, at most one of \a names may be given.
    void exclude(const QStringList &names);

    /// Arguments by their place.
    void argument(const char *name, const QString &description, QString *target);
    void optionalArgument(const char *name, const QString &description, QString *target);
    void choiceArgument(const char *name, const QStringList &words, const QString &description,
                        QString *target);
    void arguments(const char *name, const QString &description, bool isRequired,
                   QStringList *target);

private:
    void addNumber(const char *name, const char *valueName, const QString &description,
                   const NumberRange &range, const std::function<void(qint64)> &target);

    CLI::App *const m_app;
};

#endif
