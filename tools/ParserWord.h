#ifndef PARSERWORD_H
#define PARSERWORD_H

#include <QString>

#include <string>

/// Arguments on their way through the parser, which would take one that stands in brackets, such as
/// "[a,b]", for a list.
namespace ParserWord {

/// What the parser is given.
std::string packed(const QString &argument);

/// The argument that the parser hands out.
QString unpacked(const std::string &word);

} // namespace ParserWord

#endif
