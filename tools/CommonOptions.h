#ifndef COMMONOPTIONS_H
#define COMMONOPTIONS_H

#include "SessionOptions.h"

class VerbOptions;

/// The options that every verb has.
struct CommonOptions
{
    void addTo(VerbOptions *options);

    /// For a session that does not come back when its server has gone.
    SessionOptions sessionOptions() const;

    bool isJson = false;
    bool isQuiet = false;
    bool isVerbose = false;
    bool startsNoServer = false;
    QString serverPath; ///< empty for the one beside the library
    int timeoutMs = 0; ///< 0 for the session's own limits
};

#endif
