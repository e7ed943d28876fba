#ifndef SCRIPTEDTOOLS_H
#define SCRIPTEDTOOLS_H

#include <QString>
#include <QStringList>

#include <limits>

/// What `KsProxyTools` does in a program that is linked with ScriptedTools.cpp, and what it was
/// asked: no process is looked for or started. Assign a new one to start afresh.
struct ScriptedTools
{
    static constexpr int Never = std::numeric_limits<int>::max();

    int runningFromCheck = Never; ///< the first check, counted from 1, that finds the process
    bool startSucceeds = true;
    QString defaultPath = QStringLiteral("/default/path");

    QStringList checkedNames; ///< one for each check
    QStringList startedPaths; ///< one for each attempt to start
    int defaultPathCalls = 0;

    int checks() const
    {
        return checkedNames.size();
    }
};

extern ScriptedTools scriptedTools;

#endif
