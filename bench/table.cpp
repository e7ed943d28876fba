// The equipment table: its text in, the installed map out, beside what the map alone costs and
// beside the plainest way to take the text apart.
#include "BenchmarkMain.h"
#include "KVTServerMessageOldProxy.h"

#include <QMap>
#include <QVector>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>

namespace {

using Table = QMap<QString, EquipmentInfo>;

QVector<EquipmentInfo> records(int count, bool areSorted)
{
    QVector<EquipmentInfo> all(count);
    for (int i = 0; i < count; ++i) {
        EquipmentInfo &one = all[i];
        one.connectionKey = QStringLiteral("COM%1").arg(i, 6, 10, QLatin1Char('0'));
        one.text = QStringLiteral("Press %1 in hall B").arg(i % 100);
        one.shortValue = static_cast<qint16>(i % 3);
        one.longValue = 100000 + i;
        one.intValue = i % 2;
    }
    if (!areSorted)
        std::shuffle(all.begin(), all.end(), std::mt19937(1));
    return all;
}

QString text(const QVector<EquipmentInfo> &records)
{
    QStringList texts;
    texts.reserve(records.size());
    for (const EquipmentInfo &one : records)
        texts.append(QStringLiteral("%1/%2/%3/%4/%5")
                         .arg(one.connectionKey)
                         .arg(one.shortValue)
                         .arg(one.longValue)
                         .arg(one.text)
                         .arg(one.intValue));
    return texts.join(QLatin1Char(','));
}

QString copyOf(const QString &text)
{
    return QString(text.constData(), text.size());
}

// The container's own price: two strings copied and one insertion for each record, all values
// ready.
Table mapOf(const QVector<EquipmentInfo> &records, bool areSorted)
{
    Table table;
    for (const EquipmentInfo &ready : records) {
        EquipmentInfo one = ready;
        one.connectionKey = copyOf(ready.connectionKey);
        one.connectionKeyCopy = one.connectionKey;
        one.text = copyOf(ready.text);
        if (areSorted)
            table.insert(table.constEnd(), one.connectionKey, one);
        else
            table.insert(one.connectionKey, one);
    }
    return table;
}

Table splitTable(const QString &text)
{
    Table table;
    const QStringList records = text.split(QLatin1Char(','));
    for (const QString &record : records) {
        const QStringList fields = record.split(QLatin1Char('/'));
        if (fields.size() < 5)
            continue;
        EquipmentInfo &one = table[fields[0]];
        one.shortValue = static_cast<qint16>(fields[1].toInt());
        one.longValue = fields[2].toInt();
        one.text = fields[3];
        one.intValue = fields[4].toInt();
        one.connectionKey = fields[0];
        one.connectionKeyCopy = fields[0];
    }
    return table;
}

bool isWhole(const Table &table, const QVector<EquipmentInfo> &records)
{
    return table.size() == records.size()
        && std::all_of(records.cbegin(), records.cend(), [&table](const EquipmentInfo &ready) {
               const EquipmentInfo one = table.value(ready.connectionKey);
               return one.connectionKey == ready.connectionKey && one.text == ready.text
                   && one.connectionKeyCopy == ready.connectionKey
                   && one.shortValue == ready.shortValue && one.longValue == ready.longValue
                   && one.intValue == ready.intValue;
           });
}

// Each build replaces the table of the one before, as it is in an application.
template <typename Build>
void install(benchmark::State &state, const QVector<EquipmentInfo> &records, Build build)
{
    KVTServerMessageOldProxy proxy;
    for (auto _ : state)
        build(&proxy);
    if (!isWhole(proxy.equipmentTable(), records))
        state.SkipWithError("the table is not whole");
    state.SetItemsProcessed(state.iterations() * records.size());
}

void registerCase(int count, bool areSorted)
{
    const std::string name
        = std::to_string(count) + " records " + (areSorted ? "sorted" : "shuffled");
    const QVector<EquipmentInfo> ready = records(count, areSorted);
    const QString received = text(ready);
    benchmark::RegisterBenchmark(
        ("parse and install/" + name).c_str(), [ready, received](benchmark::State &state) {
            install(state, ready,
                    [&received](auto *proxy) { proxy->ParseEquipmentTable(received); });
        });
    benchmark::RegisterBenchmark(
        ("insert ready records/" + name).c_str(), [ready, areSorted](benchmark::State &state) {
            install(state, ready,
                    [&](auto *proxy) { proxy->setEquipmentTable(mapOf(ready, areSorted)); });
        });
    benchmark::RegisterBenchmark(
        ("split into lists/" + name).c_str(), [ready, received](benchmark::State &state) {
            install(state, ready,
                    [&received](auto *proxy) { proxy->setEquipmentTable(splitTable(received)); });
        });
}

void registerAll()
{
    for (const int count : {10, 1000, 100000}) {
        registerCase(count, true);
        registerCase(count, false);
    }
}

} // namespace

int main(int argc, char **argv)
{
    return runBenchmarks(argc, argv, registerAll);
}
