#include "config/config_record.h"

#include "core/status_block.h"
#include "core/text.h"

#include <array>
#include <cstring>
#include <mutex>

namespace fieldrelaybox {

namespace {

ConfigRecord live_record{};
std::mutex text_mutex; // guards its text fields
std::mutex camera_disabled_mutex;
std::mutex change_mutex; // short: no save copies half a change

static_assert(sizeof(ConfigRecord) % sizeof(std::uint32_t) == 0);
static_assert(alignof(ConfigRecord) >= alignof(std::uint32_t));

} // namespace

ConfigRecord& config_record() {
    return live_record;
}

void set_camera_disabled(bool disabled) {
    const std::lock_guard lock(camera_disabled_mutex);
    store<std::uint8_t>(live_record.camera_disabled, disabled ? 1 : 0);
    store<std::uint8_t>(status_block().camera_disabled, disabled ? 1 : 0);
}

void store_text(char* field, std::size_t capacity, std::string_view text) {
    const std::lock_guard lock(text_mutex);
    copy_text(field, capacity, text);
}

std::string load_text(const char* field, std::size_t capacity) {
    const std::lock_guard lock(text_mutex);
    return std::string(text_of(field, capacity));
}

void copy_config_record(ConfigRecord& copy) {
    std::array<std::uint32_t, sizeof(ConfigRecord) / sizeof(std::uint32_t)> words{};
    const std::lock_guard lock(text_mutex);
    const auto* source = reinterpret_cast<const std::uint32_t*>(&live_record);
    // Word by word, because other threads store single bytes and words at the same time.
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = load(source[i]);
    std::memcpy(&copy, words.data(), sizeof copy);
}

void change_settings(const std::function<void()>& change) {
    const std::lock_guard lock(change_mutex);
    change();
}

void copy_between_changes(ConfigRecord& copy) {
    const std::lock_guard lock(change_mutex);
    copy_config_record(copy);
}

} // namespace fieldrelaybox
