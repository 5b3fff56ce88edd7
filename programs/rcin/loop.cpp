#include "rcin/loop.h"

#include "config/config_start.h"
#include "core/clock.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/service_manager.h"
#include "core/signal_sets.h"
#include "rcin/attachment.h"
#include "rcin/receiver.h"
#include "rcin/start.h"
#include "rcin/status_output.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <poll.h>
#include <span>
#include <sys/signalfd.h>
#include <vector>

namespace rcin {

namespace {

// Half of what others may rely on: a wait that takes too long is not yet a gap.
constexpr std::int64_t refresh_us = 50'000;
constexpr std::int64_t settings_patience_us = 1'000'000;
constexpr std::int64_t feeding_us = 1'000'000;

struct Loop {
    std::string devices_path;
    std::int64_t began_us = 0;
    std::int64_t refresh_due_us = 0;
    std::int64_t feeding_due_us = 0;
    bool has_settings = false;
    bool told_missing_settings = false;
    bool told_digital = false;
    Equipment equipment;
    StatusOutput output;
    std::vector<pollfd> polled; // the signals, then each attachment's
};

// Readable when a signal asks the process to end; -1, with errno, when there is none to be had.
int open_end_signals() {
    signal(SIGPIPE, SIG_IGN);
    const sigset_t followed = fieldrelaybox::hold_back_signals({SIGTERM, SIGINT, SIGHUP});
    return signalfd(-1, &followed, SFD_CLOEXEC | SFD_NONBLOCK);
}

void look_for_settings(Loop& loop, std::int64_t now_us) {
    const std::optional<ConfigRecord> settings =
        fieldrelaybox::read_whole_settings(fieldrelaybox::config_file_name);
    loop.has_settings = settings.has_value();
    if (settings) {
        equip(loop.equipment, *settings, loop.devices_path, now_us);
    } else if (!loop.told_missing_settings && now_us - loop.began_us >= settings_patience_us) {
        fieldrelaybox::log_warning("waiting for settings in %s", fieldrelaybox::config_file_name);
        loop.told_missing_settings = true;
    }
}

// Sleeps until something comes or is due.
void await_events(Loop& loop, int signals) {
    loop.polled.assign(1, {.fd = signals, .events = POLLIN, .revents = 0});
    const std::int64_t now_us = fieldrelaybox::monotonic_us();
    std::int64_t due = loop.refresh_due_us;
    for (const Attachment& attachment : loop.equipment.attachments) {
        list_descriptors(attachment, loop.polled);
        due = std::min(due, due_us(attachment, now_us));
    }
    const std::int64_t wait_us = std::max<std::int64_t>(due - now_us, 0);
    timespec wait{};
    wait.tv_sec = static_cast<time_t>(wait_us / 1'000'000);
    wait.tv_nsec = static_cast<long>(wait_us % 1'000'000 * 1000);
    if (ppoll(loop.polled.data(), loop.polled.size(), &wait, nullptr) <= 0)
        for (pollfd& each : loop.polled)
            each.revents = 0;
}

void serve_attachments(Loop& loop, std::int64_t now_us) {
    std::span<const pollfd> polled = std::span(loop.polled).subspan(1);
    for (Attachment& attachment : loop.equipment.attachments) {
        const std::size_t own = attachment.input ? attachment.input->descriptors.size() : 0;
        serve(attachment, polled.first(own), now_us);
        polled = polled.subspan(own);
    }
}

bool is_learning(const Loop& loop) {
    return !loop.equipment.training.calibration;
}

void publish(Loop& loop, std::int64_t now_us) {
    const auto& [rc1, rc2] = loop.equipment.attachments;
    Outcome outcome = combine(rc1.receiver, rc2.receiver, is_learning(loop), now_us);
    train(loop.equipment.training, outcome, now_us);
    follow_status_block(loop.output, now_us);
    write_outcome(loop.output, outcome);
    if (!loop.told_digital && leaves_digital_out(rc1.receiver, rc2.receiver)) {
        fieldrelaybox::log_line("digital channels are left out: they have a place when RC1 has "
                                "them and RC2 is off");
        loop.told_digital = true;
    }
}

void refresh(Loop& loop, std::int64_t now_us) {
    beat(loop.output);
    if (!loop.has_settings)
        look_for_settings(loop, now_us);
    for (Attachment& attachment : loop.equipment.attachments)
        tell_state(attachment, is_learning(loop), now_us);
    if (now_us >= loop.feeding_due_us) {
        fieldrelaybox::feed_watchdog();
        fieldrelaybox::flush_log();
        loop.feeding_due_us = now_us + feeding_us;
    }
    loop.refresh_due_us = fieldrelaybox::next_due(loop.refresh_due_us, refresh_us, now_us);
}

} // namespace

int run_loop(const std::string& devices_path) {
    const int signals = open_end_signals();
    if (signals < 0) {
        fieldrelaybox::log_error("cannot follow signals: %s", std::strerror(errno));
        return fieldrelaybox::exit_unable;
    }
    Loop loop;
    loop.devices_path = devices_path;
    loop.began_us = fieldrelaybox::monotonic_us();
    loop.refresh_due_us = loop.began_us;
    fieldrelaybox::announce_ready();
    for (;;) {
        await_events(loop, signals);
        if (loop.polled.front().revents != 0)
            break;
        const std::int64_t now_us = fieldrelaybox::monotonic_us();
        serve_attachments(loop, now_us);
        if (now_us >= loop.refresh_due_us)
            refresh(loop, now_us);
        publish(loop, now_us);
    }
    fieldrelaybox::announce_stopping();
    write_outcome(loop.output, {});
    return 0;
}

} // namespace rcin
