#include "VerbOptions.h"

#include "NumberText.h"
#include "ParserWord.h"
#include "Suggestion.h"

#include <CLI/CLI.hpp>

namespace {

using Reader = std::function<QString(const QString &)>;

CLI::Option *add(CLI::App *app, const char *name, const char *valueName, const QString &description,
                 const Reader &reader)
{
    const auto read = [reader](const std::string &value) {
        const QString problem = reader(ParserWord::unpacked(value));
        if (!problem.isEmpty())
            throw CLI::ValidationError(problem.toStdString());
    };
    return app->add_option_function<std::string>(name, read, description.toStdString())
        ->type_name(valueName);
}

Reader storing(QString *target)
{
    return [target](const QString &value) {
        *target = value;
        return QString();
    };
}

Reader choosing(const char *name, const QStringList &words, QString *target)
{
    const QString option = QLatin1String(name);
    return [option, words, target](const QString &value) {
        if (!words.contains(value))
            return QStringLiteral("%1 takes %2, not \"%3\".")
                       .arg(option, words.join(QLatin1String(", ")), value)
                + Suggestion::question(value, words);
        *target = value;
        return QString();
    };
}

} // namespace

VerbOptions::VerbOptions(CLI::App *app)
    : m_app(app)
{ }

void VerbOptions::flag(const char *name, const QString &description, bool *target)
{
    m_app->add_flag(name, *target, description.toStdString())->disable_flag_override();
}

void VerbOptions::fileName(const char *name, const char *valueName, const QString &description,
                           QString *target)
{
    const QString option = QLatin1String(name);
    add(m_app, name, valueName, description, [option, target](const QString &value) {
        *target = value;
        return value.isEmpty() ? QStringLiteral("%1 needs a name.").arg(option) : QString();
    });
}

void VerbOptions::addNumber(const char *name, const char *valueName, const QString &description,
                            const NumberRange &range, const std::function<void(qint64)> &target)
{
    const QString option = QLatin1String(name);
    add(m_app, name, valueName, description, [option, range, target](const QString &value) {
        const std::optional<qint64> number = NumberText::read(value);
        if (!number || *number < range.smallest || *number > range.largest)
            return QStringLiteral("%1 takes %2 to %3 %4, not \"%5\".")
                .arg(option)
                .arg(range.smallest)
                .arg(range.largest)
                .arg(QLatin1String(range.unit), value);
        target(*number);
        return QString();
    });
}

void VerbOptions::choice(const char *name, const QStringList &words, const QString &description,
                         QString *target)
{
    const std::string valueName = words.join(QLatin1Char('|')).toStdString();
    add(m_app, name, valueName.c_str(), description, choosing(name, words, target));
}

void VerbOptions::parsed(const char *name, const char *valueName, const QString &description,
                         const Reader &reader)
{
    add(m_app, name, valueName, description, reader);
}

void VerbOptions::exclude(const QStringList &names)
{
    for (int i = 0; i < names.size(); ++i) {
        for (int k = i + 1; k < names.size(); ++k)
            m_app->get_option(names.at(i).toStdString())
                ->excludes(m_app->get_option(names.at(k).toStdString()));
    }
}

void VerbOptions::argument(const char *name, const QString &description, QString *target)
{
    add(m_app, name, "", description, storing(target))->required();
}

void VerbOptions::optionalArgument(const char *name, const QString &description, QString *target)
{
    add(m_app, name, "", description, storing(target));
}

void VerbOptions::choiceArgument(const char *name, const QStringList &words,
                                 const QString &description, QString *target)
{
    add(m_app, name, "", description, choosing(name, words, target))->required();
}

void VerbOptions::arguments(const char *name, const QString &description, bool isRequired,
                            QStringList *target)
{
    const auto read = [target](const std::vector<std::string> &values) {
        for (const std::string &value : values)
            target->append(ParserWord::unpacked(value));
    };
    m_app->add_option_function<std::vector<std::string>>(name, read, description.toStdString())
        ->type_name("")
        ->required(isRequired);
}
