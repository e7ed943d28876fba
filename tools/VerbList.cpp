#include "VerbList.h"

#include "AutoConnectVerb.h"
#include "CancelVerb.h"
#include "ConnectVerb.h"
#include "DumpVerb.h"
#include "ListVerb.h"
#include "LoadVerb.h"
#include "OrderVerb.h"
#include "PingVerb.h"
#include "PollVerb.h"
#include "ReadVerb.h"
#include "ServerStartVerb.h"
#include "StatusVerb.h"
#include "WatchVerb.h"
#include "WriteVerb.h"

std::vector<std::unique_ptr<Verb>> allVerbs()
{
    std::vector<std::unique_ptr<Verb>> verbs;
    verbs.push_back(std::make_unique<StatusVerb>());
    verbs.push_back(std::make_unique<ListVerb>());
    verbs.push_back(std::make_unique<ConnectVerb>());
    verbs.push_back(std::make_unique<ReadVerb>());
    verbs.push_back(std::make_unique<WriteVerb>());
    verbs.push_back(std::make_unique<DumpVerb>());
    verbs.push_back(std::make_unique<LoadVerb>());
    verbs.push_back(std::make_unique<WatchVerb>());
    verbs.push_back(std::make_unique<PollVerb>());
    verbs.push_back(std::make_unique<PingVerb>());
    verbs.push_back(std::make_unique<CancelVerb>());
    verbs.push_back(std::make_unique<OrderVerb>());
    verbs.push_back(std::make_unique<AutoConnectVerb>());
    verbs.push_back(std::make_unique<ServerStartVerb>());
    return verbs;
}
