#include "SessionLog.h"

Q_LOGGING_CATEGORY(sessionLog, "ksproxy.session", QtWarningMsg)
