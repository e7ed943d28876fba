// The packages' text form and byte form: what is printed reads as the package that it was.
//
// Input: a byte that chooses the class, one that chooses where the package's values come from (a
// text that it reads, or the setters), then these.
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "PackageKinds.h"
#include "ReadByteForm.h"

#include <iterator>

namespace {

void setValues(PackageBase *package, FuzzInput *input)
{
    package->setServerConnectionKey(input->text());
    package->setTag(input->text());
    package->setData(input->piece());
    package->setCommResult(static_cast<TarnEnum::CommResults>(input->integer<int>()));
    package->setDeviceType(input->integer<int>());
    package->setPortAddr(input->integer<qint8>());
    package->setScanBoardAddr(input->integer<int>());
    package->setDesAddr(input->integer<qint8>());
    package->setScrAddr(input->integer<qint8>());
    package->setHighAddr(input->integer<quint16>());
    package->setLowAddr(input->integer<quint16>());
    package->setReserved2(input->integer<int>());
    package->setTimeout(input->integer<int>());
    if (auto *const read = dynamic_cast<PackageRequestRead *>(package))
        read->setReadLength(input->integer<int>());
}

// UTF-8 has no lone surrogates: each becomes a question mark.
QString asItTravels(const QString &text)
{
    QString result = text;
    for (int i = 0; i < text.size(); ++i) {
        const bool isPair = i + 1 < text.size() && text.at(i).isHighSurrogate()
            && text.at(i + 1).isLowSurrogate();
        if (isPair)
            ++i;
        else if (text.at(i).isSurrogate())
            result[i] = u'?';
    }
    return result;
}

int readLengthOf(const PackageBase &package)
{
    const auto *const read = dynamic_cast<const PackageRequestRead *>(&package);
    return read != nullptr ? read->getReadLength() : 0;
}

void checkHeader(const PackageBase &package, const PackageBase &again)
{
    fuzzCheck(again.getSerialNum() == package.getSerialNum(), "the serial number travels");
    fuzzCheck(again.getReadWriteCode() == package.getReadWriteCode()
                  && again.getClientPackageType() == package.getClientPackageType(),
              "a text leaves the codes alone");
    fuzzCheck(again.getSeverConnectionKey() == asItTravels(package.getSeverConnectionKey()),
              "the connection key travels");
    fuzzCheck(again.getTag() == asItTravels(package.getTag()), "the tag travels");
    fuzzCheck(again.getDeviceType() == package.getDeviceType()
                  && again.getPortAddr() == package.getPortAddr()
                  && again.getScanBoardAddr() == package.getScanBoardAddr()
                  && again.getDesAddr() == package.getDesAddr()
                  && again.getScrAddr() == package.getScrAddr()
                  && again.getHighAddr() == package.getHighAddr()
                  && again.getLowAddr() == package.getLowAddr()
                  && again.getReserved2() == package.getReserved2()
                  && again.getTimeout() == package.getTimeout(),
              "the other fields travel");
}

void checkReply(const PackageKind &kind, const PackageBase &package)
{
    const QString text = package.toReplyString();
    const auto again = kind.make();
    again->fromString(text);
    checkHeader(package, *again);
    fuzzCheck(again->getCommResult() == package.getCommResult(), "the result travels");
    fuzzCheck(again->getData() == package.getData(), "the data of a reply travels");
    fuzzCheck(again->toReplyString() == text, "a reply prints the same again");
}

void checkRequest(const PackageKind &kind, const PackageBase &package)
{
    const QString text = package.toRequestString();
    const auto again = kind.make();
    again->fromString(text);
    checkHeader(package, *again);
    fuzzCheck(again->getCommResult() == TarnEnum::Success, "a request's text is good");
    fuzzCheck(readLengthOf(*again) == readLengthOf(package), "the read length travels");
    fuzzCheck(!kind.isWrite() || again->getData() == package.getData(),
              "the data of a write travels");
    fuzzCheck(again->toRequestString() == text, "a request prints the same again");
}

void checkByteForm(const PackageKind &kind, const PackageBase &package)
{
    const ReadByteForm read(package.toByteArray(), kind.isRead(), kind.isWrite());
    fuzzCheck(read.isWhole && read.version == 1, "the byte form is whole");
    fuzzCheck(
        read.serialNum == package.getSerialNum() && read.readWriteCode == package.getReadWriteCode()
            && read.clientPackageType == package.getClientPackageType()
            && read.connectionKey == package.getSeverConnectionKey()
            && read.deviceType == package.getDeviceType() && read.portAddr == package.getPortAddr()
            && read.scanBoardAddr == package.getScanBoardAddr()
            && read.desAddr == package.getDesAddr() && read.scrAddr == package.getScrAddr()
            && read.highAddr == package.getHighAddr() && read.lowAddr == package.getLowAddr()
            && read.reserved2 == package.getReserved2() && read.timeout == package.getTimeout()
            && read.tag == package.getTag() && read.readLength == readLengthOf(package)
            && read.data == (kind.isWrite() ? package.getData() : QByteArray()),
        "the byte form says what the package holds");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzInput input(data, size);
    const PackageKind &kind = PackageKinds::All[input.below(std::size(PackageKinds::All))];
    const auto package = kind.make();
    if (input.byte() % 2 == 0) {
        const QByteArray bytes = input.rest();
        package->fromString(QString::fromLatin1(bytes.constData(), bytes.size()));
    } else {
        setValues(package.get(), &input);
    }
    checkReply(kind, *package);
    checkRequest(kind, *package);
    if (kind.makeRaw != PackageKinds::Special.makeRaw) // its byte form is its order
        checkByteForm(kind, *package);
    return 0;
}
