// Finding the request that a reply answers, among few and many pending ones, beside a hash table.
#include "BenchmarkMain.h"
#include "PackageRequestReadData.h"
#include "TestAccess.h"

#include <QHash>

#include <benchmark/benchmark.h>

#include <deque>
#include <memory>
#include <vector>

namespace {

// The requests in the order of sending, oldest first. One that was answered is sent anew, so the
// number that are pending stays as it is.
class Requests
{
public:
    explicit Requests(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_owned.push_back(std::make_unique<PackageRequestReadData>());
            m_pending.push_back(m_owned.back().get());
        }
    }

    const std::deque<PackageBase *> &pending() const
    {
        return m_pending;
    }

    PackageBase *answered(bool newestFirst)
    {
        if (newestFirst)
            return m_pending.back();
        PackageBase *const oldest = m_pending.front();
        m_pending.pop_front();
        m_pending.push_back(oldest);
        return oldest;
    }

private:
    std::vector<std::unique_ptr<PackageBase>> m_owned;
    std::deque<PackageBase *> m_pending;
};

void match(benchmark::State &state, int count, bool newestFirst)
{
    Requests requests(count);
    KVTServerMessageOldProxy proxy;
    for (PackageBase *const request : requests.pending())
        TestAccess::appendPending(proxy, request);
    for (auto _ : state) {
        PackageBase *const request = requests.answered(newestFirst);
        if (TestAccess::takeAnsweredRequest(proxy, request->getSerialNum()) != request)
            state.SkipWithError("another request was taken");
        TestAccess::appendPending(proxy, request);
    }
    // The requests are ours: the proxy would delete what is still pending.
    while (TestAccess::takeAnsweredRequest(proxy, 0) != nullptr) { }
}

void lookUp(benchmark::State &state, int count, bool newestFirst)
{
    Requests requests(count);
    QHash<quint64, PackageBase *> table;
    for (PackageBase *const request : requests.pending())
        table.insert(request->getSerialNum(), request);
    for (auto _ : state) {
        PackageBase *const request = requests.answered(newestFirst);
        const quint64 serialNum = request->getSerialNum();
        if (table.take(serialNum) != request)
            state.SkipWithError("another request was taken");
        table.insert(serialNum, request);
    }
}

void registerCase(int count, bool newestFirst)
{
    const std::string name
        = std::to_string(count) + " pending " + (newestFirst ? "newest first" : "oldest first");
    benchmark::RegisterBenchmark(("match/" + name).c_str(), [=](benchmark::State &state) {
        match(state, count, newestFirst);
    });
    benchmark::RegisterBenchmark(("hash lookup/" + name).c_str(), [=](benchmark::State &state) {
        lookUp(state, count, newestFirst);
    });
}

void registerAll()
{
    for (const int count : {1, 100, 10000}) {
        registerCase(count, true);
        registerCase(count, false);
    }
}

} // namespace

int main(int argc, char **argv)
{
    return runBenchmarks(argc, argv, registerAll);
}
