#include "ParserWord.h"

namespace {

constexpr char Guard = '\x1f'; // nobody types it

} // namespace

std::string ParserWord::packed(const QString &argument)
{
    std::string word = argument.toStdString();
    if (argument.startsWith(QLatin1Char('[')) && argument.endsWith(QLatin1Char(']')))
        word += Guard;
    return word;
}

QString ParserWord::unpacked(const std::string &word)
{
    QString argument = QString::fromStdString(word);
    if (argument.endsWith(QLatin1Char(Guard)))
        argument.chop(1);
    return argument;
}
