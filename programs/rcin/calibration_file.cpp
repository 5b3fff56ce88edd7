#include "rcin/calibration_file.h"

#include "config/boot_mounting.h"
#include "config/boot_partition.h"
#include "config/whole_files.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/text.h"

#include <array>
#include <charconv>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace rcin {

namespace {

using fieldrelaybox::Failure;
using fieldrelaybox::fresh_calibration_path;
using fieldrelaybox::waiting_calibration_path;
namespace fs = std::filesystem;

constexpr std::string_view last_line = "end";

std::string heading(const Modes& modes) {
    return "rcin-calibration 1 " + std::string(modes.rc1) + ' ' + std::string(modes.rc2);
}

std::string_view take_line(std::string_view& text) {
    std::string_view line = fieldrelaybox::take_item(text, '\n');
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

// Nothing but digits.
std::optional<std::uint16_t> number_in(std::string_view word, unsigned low, unsigned high) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size() || value < low || value > high)
        return std::nullopt;
    return static_cast<std::uint16_t>(value);
}

struct ChannelLine {
    std::uint16_t channel; // from 1
    Travel travel;
};

std::optional<ChannelLine> parse_channel_line(std::string_view line) {
    const auto channel = number_in(fieldrelaybox::take_item(line, ' '), 1, channel_count);
    std::array<std::uint16_t, 3> ends{};
    unsigned least = shortest_pulse_us;
    for (std::uint16_t& end : ends) {
        const auto number = number_in(fieldrelaybox::take_item(line, ' '), least, longest_pulse_us);
        if (!number)
            return std::nullopt;
        end = *number;
        least = end + 1U;
    }
    if (!channel || !line.empty())
        return std::nullopt;
    return ChannelLine{.channel = *channel, .travel = {ends[0], ends[1], ends[2]}};
}

StoredCalibration foreign(const std::string& path, const std::string& fault) {
    return {.calibration = {}, .fault = path + " is not used: " + fault};
}

// Behind the heading.
StoredCalibration parse_channel_lines(const std::string& path, std::string_view text) {
    Calibration calibration;
    std::uint16_t last_channel = 0;
    for (int number = 2; !text.empty(); ++number) {
        const std::string_view line = take_line(text);
        if (line == last_line)
            return text.empty() ? StoredCalibration{.calibration = calibration, .fault = {}}
                                : foreign(path, "it goes on behind its end");
        const auto channel = parse_channel_line(line);
        if (!channel || channel->channel <= last_channel)
            return foreign(path, "line " + std::to_string(number) + " is no channel's");
        last_channel = channel->channel;
        calibration[last_channel - 1U] = channel->travel;
    }
    return foreign(path, "its end is missing");
}

// What lies where the settings lie is found on the same card: where those are a link, so is this.
void link_beside_settings() {
    std::error_code error;
    if (fs::exists(fs::symlink_status(calibration_path, error)))
        return;
    const fs::path settings = fs::read_symlink(fieldrelaybox::config_file_path, error);
    if (!settings.empty())
        fs::create_symlink(settings.parent_path() / fs::path(calibration_path).filename(),
                           calibration_path, error);
}

// In place: what it replaces is of no use any more, so a cut may leave half of it. The reader sees
// that by the missing end.
Failure put_on_boot_partition(const std::string& text) {
    link_beside_settings();
    Failure failure =
        fieldrelaybox::work_on_boot_file(calibration_path, [&](const std::string& file) {
            return fieldrelaybox::write_file_or_none(file, text);
        });
    if (failure.empty() && fieldrelaybox::read_file(calibration_path) != text)
        failure = std::string(calibration_path) + " is not as it was written";
    return failure;
}

// As a service rcin may not, and leaves it to another.
void carry_where_it_may() {
    const std::string file = fieldrelaybox::follow_links(calibration_path).string();
    if (!fieldrelaybox::is_closed(fieldrelaybox::boot_mount_point_of(file)))
        carry_calibration_to_boot();
}

// What waits is carried later where no thread is to be had: by the service, or by hand.
void carry_in_background() {
    try {
        std::thread(carry_where_it_may).detach();
    } catch (const std::system_error& error) {
        fieldrelaybox::log_error("the calibration waits in %s: %s", waiting_calibration_path,
                                 error.what());
    }
}

} // namespace

std::string format_calibration(const Calibration& calibration, const Modes& modes) {
    std::string text = heading(modes) + '\n';
    for (std::size_t channel = 0; channel < channel_count; ++channel) {
        if (!calibration[channel])
            continue;
        const Travel& travel = *calibration[channel];
        text += std::to_string(channel + 1);
        for (const std::uint16_t end : {travel.low, travel.centre, travel.high})
            text += ' ' + std::to_string(end);
        text += '\n';
    }
    return text.append(last_line) + '\n';
}

StoredCalibration parse_calibration(const std::string& path, std::string_view text,
                                    const Modes& modes) {
    const std::string_view first = take_line(text);
    if (first != heading(modes))
        return foreign(path, "it begins with '" + std::string(first.substr(0, 40)) + "', not '" +
                                 heading(modes) + '\'');
    return parse_channel_lines(path, text);
}

StoredCalibration read_calibration(const std::string& path, const Modes& modes) {
    const std::string waiting = fieldrelaybox::read_file(waiting_calibration_path);
    StoredCalibration newer = parse_calibration(waiting_calibration_path, waiting, modes);
    if (newer.calibration)
        return newer;
    std::error_code error;
    if (!fs::exists(path, error) && !error)
        return {};
    return parse_calibration(path, fieldrelaybox::read_file(path), modes);
}

void store_calibration(const std::string& text) {
    mkdir(fieldrelaybox::waiting_calibration_folder, 0755);
    Failure failure = fieldrelaybox::write_file_or_none(fresh_calibration_path, text);
    if (failure.empty())
        failure = fieldrelaybox::rename_file(fresh_calibration_path, waiting_calibration_path);
    if (failure.empty())
        carry_in_background();
    else
        fieldrelaybox::log_error("%s", failure.c_str());
}

int carry_calibration_to_boot() {
    const fieldrelaybox::BootTurn turn = fieldrelaybox::take_boot_turn();
    const std::string text = fieldrelaybox::read_file(waiting_calibration_path);
    if (text.empty())
        return 0;
    const Failure failure = put_on_boot_partition(text);
    if (!failure.empty()) {
        fieldrelaybox::log_error("%s", failure.c_str());
        return fieldrelaybox::exit_unable;
    }
    if (fieldrelaybox::read_file(waiting_calibration_path) == text) // and not a newer one
        unlink(waiting_calibration_path);
    fieldrelaybox::log_line("the calibration is in %s", calibration_path);
    return 0;
}

} // namespace rcin
