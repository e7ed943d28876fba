#ifndef PROGRESSLOG_H
#define PROGRESSLOG_H

#include "DeviceTransfer.h"

/// The numbers that a transfer reports. Must live as long as the transfer.
struct ProgressLog
{
    explicit ProgressLog(DeviceTransfer *transfer)
    {
        QObject::connect(
            transfer, &DeviceTransfer::progress, transfer, [this](qint64 done, qint64 total) {
                isWell = isWell && done > last && done <= total && (inAll == 0 || total == inAll);
                last = done;
                inAll = total;
            });
    }

    bool isWell = true; ///< it only grew, never over the total, and that stayed the same
    qint64 last = 0;
    qint64 inAll = 0;

private:
    Q_DISABLE_COPY_MOVE(ProgressLog)
};

#endif
