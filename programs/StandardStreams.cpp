#include "StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

void StandardStreams::occupy()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0)
            continue;
        // The lowest free number, so this one; for the wrong direction.
        const int opened = open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (opened != descriptor && opened >= 0)
            close(opened);
    }
}
