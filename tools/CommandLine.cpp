#include "CommandLine.h"

#include "ParserWord.h"
#include "Suggestion.h"
#include "VerbList.h"
#include "VerbOptions.h"

#include <CLI/CLI.hpp>

namespace {

constexpr int HelpColumn = 34;
const QString ProgramName = QStringLiteral("ksproxyctl");

std::string exitCodeTable()
{
    QString text = QStringLiteral("Exit codes:\n");
    const QVector<ExitCodeMeaning> meanings = exitCodeMeanings();
    for (const ExitCodeMeaning &entry : meanings)
        text
            += QStringLiteral("  %1  %2\n").arg(static_cast<int>(entry.code), 3).arg(entry.meaning);
    return (text + QStringLiteral("\nksproxyctl VERB --help tells more.")).toStdString();
}

// The word in front of a verb of two words.
CLI::App *addParent(CLI::App *app, const QString &word)
{
    CLI::App *const parent = app->add_subcommand(word.toStdString(),
                                                 "Verbs of the server process: see server --help.");
    parent->group("Verbs")->require_subcommand(1);
    return parent;
}

CLI::App *addVerb(CLI::App *app, Verb *verb)
{
    const QStringList words = verb->name().split(QLatin1Char(' '));
    CLI::App *const parent = words.size() > 1 ? addParent(app, words.constFirst()) : app;
    CLI::App *const entry = parent->add_subcommand(words.constLast().toStdString(),
                                                   verb->description().toStdString());
    entry->group("Verbs");
    VerbOptions options(entry);
    verb->addOptions(&options);
    verb->common()->addTo(&options);
    return entry;
}

void configure(CLI::App *app)
{
    app->require_subcommand(1);
    app->set_version_flag("--version", "ksproxyctl " KSPROXY_VERSION, "Print the version.");
    app->set_help_flag("-h,--help", "Print this help.");
    app->get_formatter()->column_width(HelpColumn);
    app->get_formatter()->label("SUBCOMMAND", "VERB");
    app->get_formatter()->label("REQUIRED", "");
    app->footer(exitCodeTable);
}

// The verb that the arguments lead to, as far as they do.
CLI::App *innermost(CLI::App *app)
{
    const std::vector<CLI::App *> chosen = app->get_subcommands();
    return chosen.empty() ? app : innermost(chosen.front());
}

QStringList optionNames(const CLI::App *app)
{
    QStringList names;
    for (const CLI::Option *const option : app->get_options()) {
        for (const std::string &name : option->get_lnames())
            names.append(QLatin1String("--") + QString::fromStdString(name));
    }
    return names;
}

QStringList verbNames(CLI::App *app)
{
    QStringList names;
    for (const CLI::App *const verb : app->get_subcommands({}))
        names.append(QString::fromStdString(verb->get_name()));
    return names;
}

QString unexpected(CLI::App *app)
{
    CLI::App *const place = innermost(app);
    const QString word = ParserWord::unpacked(app->remaining(true).front());
    if (word.startsWith(QLatin1Char('-')) && place != app && !app->remaining(false).empty())
        return QStringLiteral("The option \"%1\" has to stand behind the verb.").arg(word);
    if (word.startsWith(QLatin1Char('-')))
        return QStringLiteral("There is no option \"%1\" here.").arg(word)
            + Suggestion::question(word.section(QLatin1Char('='), 0, 0), optionNames(place));
    const QStringList verbs = verbNames(place);
    if (verbs.isEmpty())
        return QStringLiteral("The argument \"%1\" is one too many.").arg(word);
    return QStringLiteral("There is no verb \"%1\".").arg(word) + Suggestion::question(word, verbs);
}

QString sentence(const CLI::ParseError &error)
{
    QString text = QString::fromStdString(error.what());
    // The parser says "--length: 1 required BYTES missing".
    if (text.endsWith(QLatin1String(" missing")))
        return QStringLiteral("%1 needs a value.").arg(text.section(QLatin1Char(':'), 0, 0));
    // And "json was given a disallowed flag override".
    if (dynamic_cast<const CLI::ArgumentMismatch *>(&error) != nullptr
        && text.contains(QLatin1String("flag override")))
        return QStringLiteral("--%1 takes no value.").arg(text.section(QLatin1Char(' '), 0, 0));
    if (!text.endsWith(QLatin1Char('.')) && !text.endsWith(QLatin1Char('?')))
        text += QLatin1Char('.');
    return text;
}

QString refusal(CLI::App *app, const CLI::ParseError &error)
{
    CLI::App *const place = innermost(app);
    QString reason = sentence(error);
    if (!app->remaining(true).empty())
        reason = unexpected(app);
    else if (dynamic_cast<const CLI::RequiredError *>(&error) != nullptr
             && !verbNames(place).isEmpty())
        reason = QStringLiteral("A verb is missing: %1.")
                     .arg(verbNames(place).join(QLatin1String(", ")));
    const QString name = QString::fromStdString(place->get_name());
    return reason
        + QStringLiteral(" Try %1 --help.")
              .arg(place == app ? ProgramName : ProgramName + QLatin1Char(' ') + name);
}

// The parser takes its arguments from the end, and "--text=" for an option whose value follows.
std::vector<std::string> forParser(const QStringList &arguments)
{
    std::vector<std::string> reversed;
    bool areOptionsOver = false;
    for (const QString &argument : arguments.mid(1)) {
        areOptionsOver = areOptionsOver || argument == QLatin1String("--");
        const bool isValueEmpty = !areOptionsOver && argument.startsWith(QLatin1String("--"))
            && argument.indexOf(QLatin1Char('=')) == argument.size() - 1;
        reversed.insert(reversed.begin(),
                        ParserWord::packed(isValueEmpty ? argument.chopped(1) : argument));
        if (isValueEmpty)
            reversed.insert(reversed.begin(), std::string());
    }
    return reversed;
}

} // namespace

CommandLine::CommandLine()
    : m_verbs(allVerbs())
{ }

CommandLine::~CommandLine() = default;

CommandLine::Outcome CommandLine::read(const QStringList &arguments)
{
    CLI::App app("Reaches the device server of this machine from the command line.",
                 ProgramName.toStdString());
    configure(&app);
    std::map<const CLI::App *, Verb *> verbs;
    for (const std::unique_ptr<Verb> &verb : m_verbs)
        verbs.emplace(addVerb(&app, verb.get()), verb.get());
    try {
        app.parse(forParser(arguments));
    } catch (const CLI::CallForHelp &) {
        m_text = QString::fromStdString(app.help());
        return Outcome::Print;
    } catch (const CLI::CallForVersion &) {
        m_text = QStringLiteral("ksproxyctl " KSPROXY_VERSION "\n");
        return Outcome::Print;
    } catch (const CLI::ParseError &error) {
        m_text = refusal(&app, error);
        return Outcome::Refuse;
    }
    m_verb = verbs.at(innermost(&app));
    m_text = m_verb->problem();
    return m_text.isEmpty() ? Outcome::Run : Outcome::Refuse;
}

Verb *CommandLine::verb() const
{
    return m_verb;
}

QString CommandLine::text() const
{
    return m_text;
}
