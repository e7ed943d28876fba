#ifndef JSONFIELDS_H
#define JSONFIELDS_H

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

/// Reads the fields of one JSON object. The first thing that is wrong is kept as a text that names
/// its place, such as `equipment[0].memory: a whole number ...`; the readings after it give their
/// initial values and tell nothing. The names that were asked for are the names that are known.
class JsonFields
{
public:
    /// \a place is the object's own, empty for the outermost. \a error receives what is wrong; it
    /// is empty while all is well, and the objects inside this one share it.
    JsonFields(const QJsonObject &object, const QString &place, QString *error);

    bool isGood() const;
    const QJsonObject &object() const;
    QString place() const;

    /// Refuses the object when \a name is not there.
    void require(const char *name);

    bool has(const char *name);
    bool flag(const char *name, bool initial);
    /// A text that can be sent: Latin-1 only.
    QString text(const char *name);
    qint64 number(const char *name, qint64 smallest, qint64 largest, qint64 initial);
    /// A number of that range, or one of the names, which stand for 0, 1 and so on.
    qint64 numberOrName(const char *name, const QStringList &names, qint64 smallest, qint64 largest,
                        qint64 initial);
    /// The index of one of the names; required when \a initial is -1.
    int choice(const char *name, const QStringList &names, int initial = -1);
    /// Bytes, written as pairs of hexadecimal digits; spaces between them are passed over.
    QByteArray hex(const char *name);
    /// A list of objects; empty when it is not there.
    QVector<JsonFields> objects(const char *name);
    QVector<qint64> numbers(const char *name, qint64 smallest, qint64 largest);

    void refuse(const char *name, const QString &reason);
    /// Refuses the object as a whole.
    void refuse(const QString &reason);

    /// Refuses names that were not asked for. Whether all was well.
    bool finish();

private:
    QJsonValue value(const char *name);
    QString placeOf(const QString &name) const;
    void refuseAt(const QString &place, const QString &reason);

    QJsonObject m_object;
    QString m_place;
    QString *m_error;
    QStringList m_known;
};

#endif
