#ifndef SCENARIOREADER_H
#define SCENARIOREADER_H

#include "Scenario.h"

#include <QByteArray>

/// Reads a scenario from JSON, see docs/simulator.md. Without a list of equipment it has the
/// built-in set. Bad input is refused as a whole, with a reason that names the place.
class ScenarioReader
{
public:
    /// False when the file cannot be read or is not right; `error` then says what and where.
    bool readFile(const QString &fileName);
    /// Names of files in it are relative to \a folder.
    bool read(const QByteArray &json, const QString &folder = QString());

    const Scenario &scenario() const;
    QString error() const;

private:
    Scenario m_scenario;
    QString m_error;
};

#endif
