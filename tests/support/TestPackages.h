#ifndef TESTPACKAGES_H
#define TESTPACKAGES_H

#include "PackageBase.h"

#include <QByteArray>

#include <utility>

/// A package that counts how often it is destroyed.
template <typename Package>
class CountedPackage : public Package
{
public:
    explicit CountedPackage(int *destructions)
        : m_destructions(destructions)
    { }
    ~CountedPackage() override
    {
        ++*m_destructions;
    }

private:
    Q_DISABLE_COPY_MOVE(CountedPackage)

    int *const m_destructions;
};

/// A package whose codes and texts a test chooses.
template <typename Package>
class ChosenPackage : public Package
{
public:
    template <typename... Codes>
    explicit ChosenPackage(Codes... codes)
        : Package(codes...)
    { }

    QByteArray toByteArray() const override
    {
        return QByteArrayLiteral("byte form");
    }
    QString toReplyString() const override
    {
        return QStringLiteral("reply \u00E9\u4E2D");
    }
    QString toRequestString() const override
    {
        return QStringLiteral("request \u00E9\u4E2D");
    }
};

/// The text of a server's reply to the request with that serial number, written down by hand.
inline QByteArray replyText(quint64 serialNum, const QByteArray &data = QByteArray())
{
    return "serialNum=" + QByteArray::number(serialNum) + ";commResult=0;dataLength="
        + QByteArray::number(data.size()) + ";data=" + data.toBase64();
}

#endif
