#ifndef DATAOUTPUT_H
#define DATAOUTPUT_H

#include "EquipmentAddress.h"

#include <QFile>

class StandardOutput;
class VerbOptions;

/// Where data that was read goes, and in what form.
class DataOutput
{
public:
    /// The form on standard output when none is named and it is no terminal. A terminal gets a hex
    /// dump, a file the bytes as they are.
    enum class Preference { HexDump, Raw };

    explicit DataOutput(Preference preference);

    /// Adds --format and --output.
    void addTo(VerbOptions *options);

    /// Opens the file, where there is one, and leaves alone what is in it. What failed; empty when
    /// nothing did.
    QString open();

    /// Puts \a data, which was read at \a address, into the file or onto \a output. \a isJson: an
    /// object goes there besides the data in a file, or with the data. What failed; empty when
    /// nothing did.
    QString write(const EquipmentAddress &address, const QByteArray &data, bool isJson,
                  StandardOutput *output);

private:
    QString format() const;
    QByteArray formatted(const EquipmentAddress &address, const QByteArray &data) const;
    QString fileProblem() const;

    const Preference m_preference;
    QString m_format; ///< empty when none is named
    QString m_fileName; ///< empty for standard output
    QFile m_file;
};

#endif
