#ifndef WIREVECTOR_H
#define WIREVECTOR_H

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QVector>

/// What stands for the names in braces in the table: numbers that each run has its own of.
using WireNames = QHash<QString, QString>;

/// What one vector promised and what came of it.
struct WireOutcome
{
    QJsonObject expected;
    QJsonObject observed;

    bool isAsExpected() const
    {
        return expected == observed;
    }
};

/// One byte of a vector's that is to be another, or missing.
struct WireDamage
{
    static constexpr int Missing = 256;

    int position = 0;
    int change = 0; ///< exclusive or; 0 leaves the byte as it is
};

/// One line of the table of the wire: bytes, and what they do. See docs/protocol.md.
class WireVector
{
public:
    /// \a vector and \a common as they stand in the table; the latter has the state before.
    WireVector(const QJsonObject &vector, const QJsonObject &common);

    QString name() const;
    /// The state before the bytes.
    QJsonObject start() const;
    /// The requests that wait for a reply, in the order in which they were sent.
    QStringList requests() const;
    /// What the vector says of its effect, with the names replaced.
    QJsonObject effect(const WireNames &names) const;

    int byteCount() const;
    /// The bytes in the pieces in which they are written.
    QVector<QByteArray> pieces(const WireNames &names,
                               const WireDamage &damage = WireDamage()) const;

private:
    QJsonObject m_vector;
    QJsonObject m_start;
};

/// The fields of \a object over those of \a defaults.
QJsonObject mergedFields(QJsonObject defaults, const QJsonObject &object);

#endif
