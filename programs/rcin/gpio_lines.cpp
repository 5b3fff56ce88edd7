#include "rcin/gpio_lines.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gpiod.h>
#include <linux/gpio.h>
#include <sys/types.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace rcin {

namespace {

constexpr const char* consumer = "rcin";
constexpr std::size_t events_at_once = 16; // as many as the kernel keeps of a line

template<class Object> using Owner = std::unique_ptr<Object, void (*)(Object*)>;

using Chip = Owner<gpiod_chip>;

Chip open_chip_file(const std::string& path) {
    return {gpiod_chip_open(path.c_str()), gpiod_chip_close};
}

std::string reason() {
    return std::strerror(errno);
}

bool may_come_later(int error) {
    return error == EAGAIN || error == EINTR;
}

bool make_non_blocking(int descriptor) {
    const int flags = descriptor < 0 ? -1 : fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0;
}

#if GPIOD_MAJOR_VERSION < 2

std::string label_of(gpiod_chip& chip) {
    return gpiod_chip_label(&chip);
}

#else

std::string label_of(gpiod_chip& chip) {
    const Owner<gpiod_chip_info> info{gpiod_chip_get_info(&chip), gpiod_chip_info_free};
    return info ? gpiod_chip_info_get_label(info.get()) : "";
}

#endif

// Chips get their numbers as their drivers load; a label stays. Nothing, with errno set, when there
// is none: one that may not be opened might have been it.
Chip find_chip(const std::string& name_or_label) {
    const std::filesystem::path folder = "/dev";
    std::error_code error;
    if (std::filesystem::exists(folder / name_or_label, error))
        return open_chip_file(folder / name_or_label);
    int fault = ENOENT;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (!entry.path().filename().string().starts_with("gpiochip"))
            continue;
        Chip chip = open_chip_file(entry.path());
        if (chip && label_of(*chip) == name_or_label)
            return chip;
        if (!chip && fault == ENOENT)
            fault = errno;
    }
    errno = fault;
    return {nullptr, gpiod_chip_close};
}

} // namespace

#if GPIOD_MAJOR_VERSION < 2

struct GpioLines {
    Chip chip;
    std::vector<gpiod_line*> lines; // of the chip, which releases them when it is closed
};

namespace {

// A line without a receiver stays low; chips that have no such resistors do without.
bool request_line(gpiod_line* line, WatchedEdges watched) {
    gpiod_line_request_config config{.consumer = consumer,
                                     .request_type = watched == WatchedEdges::both
                                                         ? GPIOD_LINE_REQUEST_EVENT_BOTH_EDGES
                                                         : GPIOD_LINE_REQUEST_EVENT_RISING_EDGE,
                                     .flags = GPIOD_LINE_REQUEST_FLAG_BIAS_PULL_DOWN};
    if (gpiod_line_request(line, &config, 0) == 0)
        return true;
    config.flags = 0;
    return gpiod_line_request(line, &config, 0) == 0;
}

// The kernel's record. The library's has a timespec, which on 32-bit ARM is narrower than ours.
Edge edge_of(const gpioevent_data& event, std::size_t line) {
    return {.time_ns = static_cast<std::int64_t>(event.timestamp),
            .line = static_cast<std::uint8_t>(line),
            .high = event.id == GPIOEVENT_EVENT_RISING_EDGE};
}

} // namespace

RequestedLines request_lines(const std::string& chip_name, const std::vector<unsigned>& offsets,
                             WatchedEdges watched) {
    auto lines = std::make_shared<GpioLines>(GpioLines{find_chip(chip_name), {}});
    if (!lines->chip)
        return {.lines = {}, .fault = "GPIO chip " + chip_name + ": " + reason()};
    for (const unsigned offset : offsets) {
        gpiod_line* const line = gpiod_chip_get_line(lines->chip.get(), offset);
        if (line == nullptr || !request_line(line, watched) ||
            !make_non_blocking(gpiod_line_event_get_fd(line)))
            return {.lines = {},
                    .fault = chip_name + " line " + std::to_string(offset) + ": " + reason()};
        lines->lines.push_back(line);
    }
    return {.lines = lines, .fault = {}};
}

std::vector<int> descriptors_of(const GpioLines& lines) {
    std::vector<int> descriptors;
    for (gpiod_line* const line : lines.lines)
        descriptors.push_back(gpiod_line_event_get_fd(line));
    return descriptors;
}

bool read_edges(GpioLines& lines, const std::function<void(const Edge&)>& take) {
    std::array<gpioevent_data, events_at_once> events{};
    for (std::size_t i = 0; i < lines.lines.size(); ++i) {
        const int descriptor = gpiod_line_event_get_fd(lines.lines[i]);
        const ssize_t size = read(descriptor, events.data(), sizeof events);
        if (size == 0 || (size < 0 && !may_come_later(errno)))
            return false;
        const std::size_t count = size < 0 ? 0 : static_cast<std::size_t>(size) / sizeof events[0];
        for (std::size_t event = 0; event < count; ++event)
            take(edge_of(events[event], i));
    }
    return true;
}

#else

struct GpioLines {
    std::vector<unsigned> offsets;
    Owner<gpiod_line_request> request;
    Owner<gpiod_edge_event_buffer> events;
};

namespace {

// A line without a receiver stays low; chips that have no such resistors do without.
Owner<gpiod_line_request> request_with(gpiod_chip& chip, const std::vector<unsigned>& offsets,
                                       WatchedEdges watched, gpiod_line_bias bias) {
    const Owner<gpiod_line_settings> settings{gpiod_line_settings_new(), gpiod_line_settings_free};
    const Owner<gpiod_line_config> config{gpiod_line_config_new(), gpiod_line_config_free};
    const Owner<gpiod_request_config> request{gpiod_request_config_new(),
                                              gpiod_request_config_free};
    if (!settings || !config || !request)
        return {nullptr, gpiod_line_request_release};
    gpiod_line_settings_set_direction(settings.get(), GPIOD_LINE_DIRECTION_INPUT);
    gpiod_line_settings_set_edge_detection(settings.get(), watched == WatchedEdges::both
                                                               ? GPIOD_LINE_EDGE_BOTH
                                                               : GPIOD_LINE_EDGE_RISING);
    gpiod_line_settings_set_bias(settings.get(), bias);
    gpiod_request_config_set_consumer(request.get(), consumer);
    gpiod_request_config_set_event_buffer_size(request.get(), events_at_once * offsets.size());
    if (gpiod_line_config_add_line_settings(config.get(), offsets.data(), offsets.size(),
                                            settings.get()) != 0)
        return {nullptr, gpiod_line_request_release};
    return {gpiod_chip_request_lines(&chip, request.get(), config.get()),
            gpiod_line_request_release};
}

Edge edge_of(gpiod_edge_event* event, const std::vector<unsigned>& offsets) {
    const auto line =
        std::find(offsets.begin(), offsets.end(), gpiod_edge_event_get_line_offset(event));
    return {.time_ns = static_cast<std::int64_t>(gpiod_edge_event_get_timestamp_ns(event)),
            .line = static_cast<std::uint8_t>(line - offsets.begin()),
            .high = gpiod_edge_event_get_event_type(event) == GPIOD_EDGE_EVENT_RISING_EDGE};
}

} // namespace

RequestedLines request_lines(const std::string& chip_name, const std::vector<unsigned>& offsets,
                             WatchedEdges watched) {
    const Chip chip = find_chip(chip_name);
    if (!chip)
        return {.lines = {}, .fault = "GPIO chip " + chip_name + ": " + reason()};
    auto request = request_with(*chip, offsets, watched, GPIOD_LINE_BIAS_PULL_DOWN);
    if (!request)
        request = request_with(*chip, offsets, watched, GPIOD_LINE_BIAS_AS_IS);
    if (!request || !make_non_blocking(gpiod_line_request_get_fd(request.get())))
        return {.lines = {}, .fault = chip_name + " lines: " + reason()};
    Owner<gpiod_edge_event_buffer> events{gpiod_edge_event_buffer_new(events_at_once),
                                          gpiod_edge_event_buffer_free};
    if (!events)
        return {.lines = {}, .fault = chip_name + " lines: " + reason()};
    return {.lines = std::make_shared<GpioLines>(
                GpioLines{offsets, std::move(request), std::move(events)}),
            .fault = {}};
}

std::vector<int> descriptors_of(const GpioLines& lines) {
    return {gpiod_line_request_get_fd(lines.request.get())};
}

bool read_edges(GpioLines& lines, const std::function<void(const Edge&)>& take) {
    const int count = gpiod_line_request_read_edge_events(lines.request.get(), lines.events.get(),
                                                          events_at_once);
    if (count < 0)
        return may_come_later(errno);
    for (unsigned long i = 0; i < static_cast<unsigned long>(count); ++i)
        take(edge_of(gpiod_edge_event_buffer_get_event(lines.events.get(), i), lines.offsets));
    return true;
}

#endif

} // namespace rcin
