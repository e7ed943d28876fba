// What things weigh on the heap, beside what they carry and what they consist of.
#include "Bench.h"
#include "MsgSocketClient.h"
#include "NotifyStruct.h"
#include "PackageRequestReadData.h"
#include "TestProxy.h"

#include <malloc.h>

namespace {

constexpr int Count = 2000;
constexpr int Proxies = 20;
const QString Bytes = QStringLiteral("B");

double heap()
{
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks + info.hblkhd);
}

// The share of each in what \a make adds to the heap.
template <typename Make>
double weigh(int count, Make make)
{
    const double before = heap();
    for (int i = 0; i < count; ++i)
        make(i);
    return (heap() - before) / count;
}

template <typename Thing, typename... Arguments>
double weighObject(Arguments... arguments)
{
    std::vector<std::unique_ptr<Thing>> things(Count);
    return weigh(Count, [&](int i) {
        things[static_cast<size_t>(i)] = std::make_unique<Thing>(arguments...);
    });
}

double weighQueued(Bench *bench, int characters)
{
    const TestProxy proxy;
    const double bytes = weigh(Count, [&](int) {
        proxy->SendCommand(TarnEnum::SendOrder, QString(characters, QLatin1Char('x')));
    });
    bench->require(TestAccess::sendList(*proxy).size() == Count, QStringLiteral("not queued"));
    return bytes;
}

double weighReply(Bench *bench, TarnEnum::PackageType type, int characters)
{
    const TestProxy proxy;
    proxy->setPackageType(type);
    const double bytes = weigh(Count, [&](int) {
        proxy->OnReceiveMessage(QByteArray(1, char(TarnEnum::ReplyReadData))
                                + QByteArray(characters, 'x'));
    });
    bench->require(TestAccess::notifyList(*proxy).size() == Count, QStringLiteral("not queued"));
    return bytes;
}

double weighPending()
{
    const TestProxy proxy;
    // Deleted by the proxy when it goes.
    return weigh(Count, [&](int i) {
        auto *const request = new PackageRequestReadData;
        request->setServerConnectionKey(QStringLiteral("COM%1").arg(i, 6, 10, QLatin1Char('0')));
        request->setReadLength(4);
        TestAccess::appendPending(*proxy, request);
    });
}

QString tableText()
{
    QStringList records;
    for (int i = 0; i < Count; ++i)
        records.append(QStringLiteral("COM%1/1/%2/Press %3 in hall B/1")
                           .arg(i, 6, 10, QLatin1Char('0'))
                           .arg(100000 + i)
                           .arg(i % 100, 2, 10, QLatin1Char('0')));
    return records.join(QLatin1Char(','));
}

double weighTable(Bench *bench)
{
    const QString text = tableText();
    const TestProxy proxy;
    const double bytes = weigh(1, [&](int) { proxy->ParseEquipmentTable(text); }) / Count;
    bench->require(proxy->equipmentTable().size() == Count, QStringLiteral("no table"));
    return bytes;
}

// With its socket client and its two workers, whose stacks the heap does not hold.
double weighProxy()
{
    std::vector<std::unique_ptr<TestProxy>> proxies;
    proxies.reserve(Proxies);
    return weigh(Proxies, [&](int) {
        proxies.push_back(std::make_unique<TestProxy>());
        (*proxies.back())->Initalize();
    });
}

std::vector<Contestant> contestants(Bench *bench)
{
    std::vector<Contestant> all;
    const auto add = [&all](const char *what, const QString &caseName, auto sample) {
        all.push_back({QString::fromUtf8(what), caseName, Bytes, sample});
    };
    const auto addPayload = [&add](const QString &caseName, int bytes) {
        add("payload", caseName, [bytes] { return double(bytes); });
    };
    for (const int characters : {0, 16, 256, 4096}) {
        const QString queued = QStringLiteral("queued message of %1 characters").arg(characters);
        add("weight", queued, [=] { return weighQueued(bench, characters); });
        addPayload(queued, characters);
    }
    for (const int characters : {16, 256, 4096}) {
        const QString text = QStringLiteral("queued reply of %1 bytes, text").arg(characters);
        add("weight", text, [=] { return weighReply(bench, TarnEnum::TextPackage, characters); });
        addPayload(text, characters);
        const QString bytes = QStringLiteral("queued reply of %1 bytes, bytes").arg(characters);
        add("weight", bytes,
            [=] { return weighReply(bench, TarnEnum::ByteArrayPackage, characters); });
        addPayload(bytes, characters);
    }
    add("weight", QStringLiteral("pending request"), [] { return weighPending(); });
    add("weight", QStringLiteral("table record"), [=] { return weighTable(bench); });
    addPayload(QStringLiteral("table record"), (tableText().size() + 1) / Count);
    add("weight", QStringLiteral("initialised proxy"), [] { return weighProxy(); });

    add("part", QStringLiteral("a QObject"), [] { return weighObject<QObject>(); });
    add("part", QStringLiteral("a queue entry without texts"),
        [] { return weighObject<NotifyStruct>(); });
    add("part", QStringLiteral("an identifying text of 38 characters"),
        [] { return weighObject<QString>(38, QLatin1Char('x')) - weighObject<QString>(); });
    add("part", QStringLiteral("a read request"),
        [] { return weighObject<PackageRequestReadData>(); });
    add("part", QStringLiteral("an equipment record in its map"),
        [] { return double(sizeof(QMapNode<QString, EquipmentInfo>)); });
    add("part", QStringLiteral("a socket client"), [] { return weighObject<MsgSocketClient>(); });
    add("part", QStringLiteral("a proxy that is not initialised"),
        [] { return weighObject<KVTServerMessageOldProxy>(); });
    return all;
}

} // namespace

int main(int argc, char **argv)
{
    Bench bench("bench_memory", argc, argv);
    const std::vector<Contestant> all = contestants(&bench);
    for (const Contestant &contestant : all)
        contestant.sample(); // what is made only once is there afterwards
    bench.compete(all);
    return bench.finish();
}
