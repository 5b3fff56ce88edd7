#include "rcin/show.h"

#include "core/exit_status.h"

namespace rcin {

int show_channels() {
    return fieldrelaybox::exit_unable;
}

} // namespace rcin
