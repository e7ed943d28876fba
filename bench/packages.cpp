// Requests into message bodies and reply texts into packages, beside the Base64 that both need.
#include "BenchmarkMain.h"
#include "KVTServerMessageOldProxy.h"
#include "MessageBody.h"
#include "PackageRequestReadData.h"
#include "PackageRequestWriteData.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace {

QByteArray payload(int bytes)
{
    QByteArray data(bytes, '\0');
    for (int i = 0; i < bytes; ++i)
        data[i] = static_cast<char>(i * 7 + i / 251);
    return data;
}

template <typename Package>
void address(Package *package)
{
    package->setServerConnectionKey(QStringLiteral("10.0.0.7:5000"));
    package->setHighAddr(1);
    package->setLowAddr(0x400);
    package->setTimeout(1000);
    package->setTag(QStringLiteral("a tag"));
}

void encode(benchmark::State &state, const QByteArray &data)
{
    PackageRequestWriteData request;
    address(&request);
    request.setData(data);
    QByteArray body;
    for (auto _ : state) {
        body = MessageBody::encode(TarnEnum::RequestWriteData, request.toRequestString());
        benchmark::DoNotOptimize(body.constData());
    }
    if (!body.endsWith(";data=" + data.toBase64()))
        state.SkipWithError("the body does not hold the data");
}

void encodeBase64(benchmark::State &state, const QByteArray &data)
{
    QByteArray text;
    for (auto _ : state) {
        text = data.toBase64();
        benchmark::DoNotOptimize(text.constData());
    }
    if (QByteArray::fromBase64(text) != data)
        state.SkipWithError("the text does not hold the data");
}

QString replyText(const QByteArray &data)
{
    PackageRequestReadData reply;
    address(&reply);
    reply.setData(data);
    return reply.toReplyString();
}

void parse(benchmark::State &state, const QByteArray &data)
{
    KVTServerMessageOldProxy proxy;
    const QString text = replyText(data);
    std::unique_ptr<PackageBase> reply;
    for (auto _ : state) {
        reply.reset(proxy.ParseCompleteRequest(text, TarnEnum::ReplyReadData));
        benchmark::DoNotOptimize(reply.get());
    }
    if (reply->getCommResult() != TarnEnum::Success || reply->getData() != data)
        state.SkipWithError("the reply does not hold the data");
}

void decodeBase64(benchmark::State &state, const QByteArray &data)
{
    const QByteArray text = data.toBase64();
    QByteArray decoded;
    for (auto _ : state) {
        decoded = QByteArray::fromBase64(text);
        benchmark::DoNotOptimize(decoded.constData());
    }
    if (decoded != data)
        state.SkipWithError("the decoded bytes are not the data");
}

void registerAll()
{
    const struct
    {
        const char *name;
        int bytes;
    } payloads[] = {{"16 B", 16}, {"256 B", 256}, {"4 KiB", 4096}, {"64 KiB", 65536}};
    const struct
    {
        const char *name;
        void (*run)(benchmark::State &, const QByteArray &);
    } operations[] = {{"encode a request", encode},
                      {"Base64 encoding", encodeBase64},
                      {"parse a reply", parse},
                      {"Base64 decoding", decodeBase64}};
    for (const auto &operation : operations) {
        for (const auto &one : payloads)
            benchmark::RegisterBenchmark((std::string(operation.name) + "/" + one.name).c_str(),
                                         [run = operation.run, data = payload(one.bytes)](
                                             benchmark::State &state) { run(state, data); });
    }
}

} // namespace

int main(int argc, char **argv)
{
    return runBenchmarks(argc, argv, registerAll);
}
