#ifndef PACKAGEKINDS_H
#define PACKAGEKINDS_H

#include "PackageBase.h"
#include "PackageRequestCombination.h"
#include "PackageRequestReadData.h"
#include "PackageRequestReadFile.h"
#include "PackageRequestReadMemData.h"
#include "PackageRequestWriteData.h"
#include "PackageRequestWriteFile.h"
#include "PackageRequestWriteMemData.h"
#include "SpecialPackageRequest.h"

#include <QStringList>
#include <QTest>

#include <memory>

/// A class of package with the codes that it must have.
struct PackageKind
{
    const char *name;
    PackageBase *(*makeRaw)();
    int readWriteCode;
    int clientPackageType;

    std::unique_ptr<PackageBase> make() const
    {
        return std::unique_ptr<PackageBase>(makeRaw());
    }
    bool isRead() const
    {
        return readWriteCode == 0;
    }
    bool isWrite() const
    {
        return readWriteCode == 1;
    }
};

Q_DECLARE_METATYPE(PackageKind)

namespace PackageKinds {

template <typename Package>
PackageBase *makeNew()
{
    return new Package;
}

constexpr PackageKind Plain{"plain package", makeNew<PackageBase>, -1, 0};
constexpr PackageKind ReadData{"read data", makeNew<PackageRequestReadData>, 0, 0};
constexpr PackageKind ReadFile{"read file", makeNew<PackageRequestReadFile>, 0, 1};
constexpr PackageKind ReadMemData{"read memory data", makeNew<PackageRequestReadMemData>, 0, 2};
constexpr PackageKind WriteData{"write data", makeNew<PackageRequestWriteData>, 1, 0};
constexpr PackageKind WriteFile{"write file", makeNew<PackageRequestWriteFile>, 1, 1};
constexpr PackageKind WriteMemData{"write memory data", makeNew<PackageRequestWriteMemData>, 1, 2};
constexpr PackageKind Combination{"combination", makeNew<PackageRequestCombination>, -1, 0};
constexpr PackageKind Special{"order", makeNew<SpecialPackageRequest>, -1, 0};

constexpr PackageKind All[] = {Plain,     ReadData,     ReadFile,    ReadMemData, WriteData,
                               WriteFile, WriteMemData, Combination, Special};

/// A column "kind" with a row for each class.
inline void addRows()
{
    QTest::addColumn<PackageKind>("kind");
    for (const PackageKind &kind : All)
        QTest::newRow(kind.name) << kind;
}

/// All that travels in a reply, readable, as the getters say it; the read length where there is
/// one.
inline QStringList describe(const PackageBase &package)
{
    QStringList lines;
    const auto add = [&lines](const char *name, const QString &value) {
        lines.append(QLatin1String(name) + QLatin1String(": ") + value);
    };
    add("serial number", QString::number(package.getSerialNum()));
    add("read/write code", QString::number(package.getReadWriteCode()));
    add("client package type", QString::number(package.getClientPackageType()));
    add("connection key", package.getSeverConnectionKey());
    add("device type", QString::number(package.getDeviceType()));
    add("port address", QString::number(package.getPortAddr()));
    add("scan board address", QString::number(package.getScanBoardAddr()));
    add("des address", QString::number(package.getDesAddr()));
    add("scr address", QString::number(package.getScrAddr()));
    add("high address", QString::number(package.getHighAddr()));
    add("low address", QString::number(package.getLowAddr()));
    add("reserved", QString::number(package.getReserved2()));
    add("timeout", QString::number(package.getTimeout()));
    add("tag", package.getTag());
    add("result", QString::number(package.getCommResult()));
    add("data", QString::fromLatin1(package.getData().toHex()));
    if (const auto *const read = dynamic_cast<const PackageRequestRead *>(&package))
        add("read length", QString::number(read->getReadLength()));
    return lines;
}

/// The same with the codes and the serial number left out: what a setter can have set.
inline QStringList describeSettable(const PackageBase &package)
{
    return describe(package).mid(3);
}

/// Sets every field to a value of its own that is not its default.
inline void fill(PackageBase *package)
{
    package->setServerConnectionKey(QStringLiteral("COM1"));
    package->setDeviceType(101);
    package->setPortAddr(-102);
    package->setScanBoardAddr(-103);
    package->setDesAddr(104);
    package->setScrAddr(-105);
    package->setHighAddr(60106);
    package->setLowAddr(107);
    package->setReserved2(-108);
    package->setTimeout(109);
    package->setTag(QStringLiteral("a tag"));
    package->setCommResult(TarnEnum::Rejected);
    package->setData(QByteArray("\0\x01\xFE\xFF", 4));
    if (auto *const read = dynamic_cast<PackageRequestRead *>(package))
        read->setReadLength(110);
}

} // namespace PackageKinds

#endif
