// A program that does nothing until it is ended: what tests start under names of their own. It
// ends by itself some time later, so that a test that breaks off leaves nothing behind for good.

#include <unistd.h>

int main()
{
    alarm(300);
    while (true)
        pause();
}
