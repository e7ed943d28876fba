// The equipment table, against a second reader.
//
// Input: a byte that chooses the encoding of the text, then the text.
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "FuzzTarget.h"
#include "KVTServerMessageOldProxy.h"
#include "NaiveEquipmentTable.h"
#include "QuietLog.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QuietLog quiet;
    static KVTServerMessageOldProxy proxy;
    FuzzInput input(data, size);
    const bool isUtf8 = input.byte() % 8 == 7; // the wire has Latin-1 only, an application any text
    const QByteArray bytes = input.rest();
    const QString text
        = isUtf8 ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes.constData(), bytes.size());
    fuzzCheck(proxy.ParseEquipmentTable(text) == !text.isEmpty(), "only an empty text is refused");
    fuzzCheck(
        NaiveEquipmentTable::areEqual(proxy.equipmentTable(), NaiveEquipmentTable::read(text)),
        "both readers find the same table");
    return 0;
}
