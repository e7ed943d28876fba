#ifndef VERBLIST_H
#define VERBLIST_H

#include "Verb.h"

#include <memory>
#include <vector>

/// All verbs, in the order of the help.
std::vector<std::unique_ptr<Verb>> allVerbs();

#endif
