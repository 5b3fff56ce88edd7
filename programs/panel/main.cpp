// fieldrelaybox-panel: the box in a browser.
#include "core/exit_status.h"
#include "core/log.h"
#include "panel/hub.h"
#include "panel/moving_mark.h"
#include "panel/options.h"
#include "panel/password_input.h"
#include "panel/passwords.h"
#include "panel/server.h"

#include <cstddef>
#include <span>

namespace {

int run(const panel::Options& options) {
    using fieldrelaybox::exit_unable;
    fieldrelaybox::open_log();
    if (options.set_password) {
        const std::optional<std::string> password = panel::read_new_password();
        return password && panel::store_password(options.password_file, *password) ? 0
                                                                                   : exit_unable;
    }
    panel::Hub hub;
    hub.moving_mark = panel::find_moving_mark();
    return panel::open_hub(hub, options.box) ? panel::serve(options, hub) : exit_unable;
}

} // namespace

int main(int count, char** values) {
    int status = 0;
    const std::optional<panel::Options> options =
        panel::read_options(std::span(values, static_cast<std::size_t>(count)), status);
    return options ? run(*options) : status;
}
