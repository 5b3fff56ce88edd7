#include "control/command_polling.h"

#include "apps/messages.h"
#include "config/config_record.h"
#include "control/app_commands.h"
#include "control/command_queue.h"
#include "core/clock.h"
#include "core/status_block.h"
#include "core/threads.h"

#include <array>
#include <atomic>
#include <cstring>
#include <memory>

namespace fieldrelaybox {

namespace {

constexpr std::int64_t polling_interval_us = 10'000;
constexpr std::int32_t report_interval_ms = 300;

using CommandText = std::array<char, FIELDRELAYBOX_COMMAND_CAPACITY + 1>;

// The writer stores the first byte last: once it is there, so are the others.
bool read_command_field(CommandText& text) {
    auto& field = status_block().command_field;
    text[0] = std::atomic_ref(field[0]).load(std::memory_order_acquire);
    for (std::size_t i = 1; i < sizeof field; ++i)
        text[i] = load(field[i]);
    return text[0] != '\0';
}

void clear_command_field() {
    auto& field = status_block().command_field;
    for (std::size_t i = 1; i < sizeof field; ++i)
        store(field[i], '\0');
    std::atomic_ref(field[0]).store('\0', std::memory_order_release);
}

// In its turn behind the commands of the apps. The field is cleared afterwards, which tells its
// writer that there is room for the next.
void queue_field_command() {
    static std::atomic<bool> is_queued{false};
    if (load(status_block().command_field[0]) == '\0' || is_queued.exchange(true))
        return;
    const std::shared_ptr<void> turn(nullptr, [](void*) { is_queued = false; });
    queue_command([turn] { serve_command_field(); });
}

void poll(std::int64_t& last_report) {
    queue_field_command();
    report_rc_channels(timer_clock(), last_report);
    sleep_us(polling_interval_us);
}

} // namespace

void serve_command_field() {
    CommandText text{};
    if (!read_command_field(text))
        return;
    const std::size_t length = std::strlen(text.data());
    // A command that fails must not stay in the field, to fail for ever.
    run_guarded("command field", [&] { dispatch_app_command(text.data(), length, sockaddr_in{}); });
    clear_command_field();
}

void report_rc_channels(std::int64_t now, std::int64_t& last_report) {
    if (load(config_record().rc_input_enabled) == 0 ||
        !has_passed(now, last_report, report_interval_ms + 1))
        return;
    const StatusBlock& block = status_block();
    constexpr std::size_t record_size = 3 + 2 * FIELDRELAYBOX_RC_CHANNELS;
    std::array<std::uint8_t, record_size> record{};
    record[0] = code_of(RecordCode::rc_channels);
    record[1] = load(block.rc_receiver_state);
    record[2] = FIELDRELAYBOX_RC_CHANNELS;
    for (std::size_t i = 0; i < FIELDRELAYBOX_RC_CHANNELS; ++i)
        put_u16le(&record[3 + 2 * i], load(block.rc_channels[i]));
    post_message(record, MessageKind::status);
    last_report = now;
}

void start_command_polling() {
    start_service("polling", [last_report = timer_clock()]() mutable {
        while (true)
            run_guarded("polling", [&] { poll(last_report); });
    });
}

} // namespace fieldrelaybox
