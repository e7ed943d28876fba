#ifndef KILLOUTCOME_H
#define KILLOUTCOME_H

/// What one run came to in which the server was killed after a certain byte. Plain, for a pipe.
struct KillOutcome
{
    bool isSession = false; ///< else a plain proxy
    bool isToServer = false; ///< which way the byte went
    int position = 0; ///< of the byte, from 1 on
    bool wasReady = false; ///< before the server died; else requests could not be made
    int requests = 0;
    int good = 0; ///< ended with a reply
    int lost = 0; ///< ended with the loss of the connection
    int kept = 0; ///< of a proxy: not ended, and deleted with it
    int odd = 0; ///< ended in any other way
    int twice = 0; ///< ended more than once
    int unended = 0;
    int goodWithoutReply = 0; ///< good although no reply had left the server
    int lostDespiteReply = 0; ///< lost although the whole reply had left the server
    double noticeMs = -1; ///< from the death to the loss being known; -1 when it need not be
    double backMs = -1; ///< from the new server to Ready; -1 when there was none
    bool cameBack = false;
    int objects = 0; ///< QObjects left behind
    int heapBytes = 0; ///< left behind
    long long passed = 0; ///< bytes that went that way
};

#endif
