// Preloaded by a system test: exit() lasts a while once it has destroyed what the program had.
#include <unistd.h>

__attribute__((destructor)) static void linger(void) {
    usleep(300 * 1000);
}
