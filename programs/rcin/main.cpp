// rcin: from an RC receiver or a game pad to the channels in the status block.
#include "core/exit_status.h"

int main() {
    return fieldrelaybox::exit_unable;
}
