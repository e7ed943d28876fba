#include "LibraryOnWire.h"
#include "ServerOnWire.h"
#include "Torture.h"
#include "WireVector.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QSet>
#include <QtAlgorithms>

#include <cstdio>
#include <utility>

namespace {

constexpr int MostDamaged = 40; // bytes of one vector
constexpr int EndBytes = 5; // the length with the identifier, and as many at the end
constexpr int LongestDamaged = 4096; // longer ones cost much and tell nothing more

QString text(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

/// What came of one direction's vectors.
struct Tally
{
    int vectors = 0;
    int kept = 0;
    qint64 damaged = 0;
    qint64 noticed = 0;
    int blind = 0; // vectors that no damage made fail
};

template <typename Target>
bool isNoticed(Target *target, const WireVector &vector, const WireDamage &damage, Tally *tally)
{
    const bool isNoticed = !target->play(vector, damage).isAsExpected();
    ++tally->damaged;
    tally->noticed += isNoticed ? 1 : 0;
    return isNoticed;
}

/// All that can be done to one byte, the likeliest to be noticed first: gone, then with one bit
/// another, then with several.
QVector<int> changes()
{
    QVector<int> changes{WireDamage::Missing};
    for (int bits = 1; bits <= 8; ++bits) {
        for (int change = 1; change < 256; ++change) {
            if (qPopulationCount(static_cast<quint8>(change)) == static_cast<uint>(bits))
                changes.append(change);
        }
    }
    return changes;
}

/// For the few that seldom fail: every change to the bytes at both ends, until one is noticed.
template <typename Target>
bool canFail(Target *target, const WireVector &vector, Tally *tally)
{
    const int bytes = vector.byteCount();
    const QVector<int> all = changes();
    for (const int change : all) {
        for (int position = 0; position < bytes; ++position) {
            if (position >= EndBytes && position < bytes - EndBytes)
                continue;
            if (isNoticed(target, vector, {position, change}, tally))
                return true;
        }
    }
    return false;
}

template <typename Target>
void damage(Target *target, const WireVector &vector, QRandomGenerator *random, Tally *tally,
            Torture *torture)
{
    const int bytes = vector.byteCount();
    if (bytes > LongestDamaged)
        return;
    const qint64 noticedBefore = tally->noticed;
    const int step = qMax(1, bytes / MostDamaged);
    for (int position = 0; position < bytes; position += step)
        isNoticed(target, vector, {position, random->bounded(1, 256)}, tally);
    if (tally->noticed == noticedBefore && !canFail(target, vector, tally)) {
        torture->require(false, QStringLiteral("no damage makes this fail: ") + vector.name());
        ++tally->blind;
    }
}

template <typename Target>
Tally play(const QJsonObject &direction, Torture *torture)
{
    Tally tally;
    Target target(direction);
    QRandomGenerator random(torture->seed());
    QSet<QString> names;
    const QJsonArray vectors = direction.value(QLatin1String("vectors")).toArray();
    for (const QJsonValue value : vectors) {
        const WireVector vector(value.toObject(), direction);
        torture->require(!names.contains(vector.name()), QStringLiteral("twice: ") + vector.name());
        names.insert(vector.name());
        ++tally.vectors;
        const WireOutcome outcome = target.play(vector);
        if (torture->require(
                outcome.isAsExpected(),
                QStringLiteral("%1\n  expected %2\n  observed %3")
                    .arg(vector.name(), text(outcome.expected), text(outcome.observed))))
            ++tally.kept;
        if (torture->isLong())
            damage(&target, vector, &random, &tally, torture);
    }
    return tally;
}

void add(Torture *torture, const QByteArray &direction, const Tally &tally)
{
    const auto name = [&](const char *figure) { return direction + '_' + figure; };
    torture->add(name("vectors"), static_cast<qint64>(tally.vectors));
    torture->add(name("kept"), static_cast<qint64>(tally.kept));
    if (!torture->isLong())
        return;
    torture->add(name("bytes_damaged"), tally.damaged);
    torture->add(name("damage_noticed"), tally.noticed);
    torture->add(name("vectors_blind"), static_cast<qint64>(tally.blind));
}

} // namespace

/// Plays the table of the wire to the library and to the simulated server. The long form also
/// damages each vector, byte by byte, until it fails: one that cannot fail proves nothing.
int main(int argc, char **argv)
{
    Torture torture("wire_vectors", argc, argv);
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QFile file(QStringLiteral(KSPROXY_WIRE_VECTORS));
    QJsonParseError error{};
    const QJsonObject table = file.open(QIODevice::ReadOnly)
        ? QJsonDocument::fromJson(file.readAll(), &error).object()
        : QJsonObject();
    if (!torture.require(!table.isEmpty(),
                         file.fileName() + QLatin1String(": ")
                             + (file.isOpen() ? error.errorString() : file.errorString())))
        return torture.finish();
    add(&torture, "library",
        play<LibraryOnWire>(table.value(QLatin1String("toApplication")).toObject(), &torture));
    add(&torture, "server",
        play<ServerOnWire>(table.value(QLatin1String("toServer")).toObject(), &torture));
    return torture.finish();
}
