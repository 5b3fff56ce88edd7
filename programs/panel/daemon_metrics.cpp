#include "panel/daemon_metrics.h"

#include "core/shared_access.h"

#include <arpa/inet.h>
#include <array>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <optional>
#include <span>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace panel {
namespace {

using StatisticsWords = std::array<std::uint64_t, sizeof(Statistics) / sizeof(std::uint64_t)>;
static_assert(sizeof(StatisticsWords) == sizeof(Statistics));

// Each word as it was at one moment.
Statistics copy_statistics(const void* region) {
    StatisticsWords words{};
    const auto* const shared = static_cast<const std::uint64_t*>(region);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = fieldrelaybox::load(shared[i]);
    return std::bit_cast<Statistics>(words);
}

// A user of its own may not signal the daemon, but learns that it is there.
bool is_running(std::uint32_t process_id) {
    return kill(static_cast<pid_t>(process_id), 0) == 0 || errno == EPERM;
}

bool is_of_a_daemon(const Statistics& record) {
    return record.magic == FIELDRELAYBOX_STATISTICS_MAGIC &&
           record.version == FIELDRELAYBOX_STATISTICS_VERSION &&
           record.size >= sizeof(Statistics) && record.process_id != 0 &&
           is_running(record.process_id);
}

std::optional<Statistics> read_region(int descriptor) {
    struct stat file {};
    if (fstat(descriptor, &file) != 0 || file.st_size < off_t{sizeof(Statistics)})
        return std::nullopt;
    void* const region = mmap(nullptr, sizeof(Statistics), PROT_READ, MAP_SHARED, descriptor, 0);
    if (region == MAP_FAILED)
        return std::nullopt;
    const Statistics record = copy_statistics(region);
    munmap(region, sizeof(Statistics));
    return is_of_a_daemon(record) ? std::optional(record) : std::nullopt;
}

// Opened anew each time: a daemon that starts makes a new region.
std::optional<Statistics> read_statistics(const char* region) {
    const int descriptor = shm_open(region, O_RDONLY | O_CLOEXEC, 0);
    if (descriptor < 0)
        return std::nullopt;
    const auto record = read_region(descriptor);
    close(descriptor);
    return record;
}

template<class Count> struct CountPlace {
    std::string_view label;
    Count Statistics::*count;
};

constexpr std::array input_places{
    CountPlace<InputCount>{"video", &Statistics::video_in},
    CountPlace<InputCount>{"audio", &Statistics::audio_in},
    CountPlace<InputCount>{"transcoded", &Statistics::transcoded_in},
    CountPlace<InputCount>{"control", &Statistics::control_in},
    CountPlace<InputCount>{"server", &Statistics::server_in},
    CountPlace<InputCount>{"camera", &Statistics::camera_in},
};

constexpr std::array output_places{
    CountPlace<OutputCount>{"control", &Statistics::control_out},
    CountPlace<OutputCount>{"server", &Statistics::server_out},
    CountPlace<OutputCount>{"camera", &Statistics::camera_out},
    CountPlace<OutputCount>{"transcoder", &Statistics::transcoder_out},
    CountPlace<OutputCount>{"rtmp_video", &Statistics::rtmp_video_out},
    CountPlace<OutputCount>{"mpegts_video", &Statistics::mpegts_video_out},
    CountPlace<OutputCount>{"tcp_video", &Statistics::tcp_video_out},
    CountPlace<OutputCount>{"rtsp_video", &Statistics::rtsp_video_out},
    CountPlace<OutputCount>{"rtmp_audio", &Statistics::rtmp_audio_out},
    CountPlace<OutputCount>{"mpegts_audio", &Statistics::mpegts_audio_out},
    CountPlace<OutputCount>{"tcp_audio", &Statistics::tcp_audio_out},
    CountPlace<OutputCount>{"player", &Statistics::player_out},
};

template<class Count> struct CountedNumber {
    MetricName metric;
    std::uint64_t Count::*number;
};

constexpr std::array received_numbers{
    CountedNumber<InputCount>{{"received_datagrams_total", "Datagrams that the daemon received."},
                              &InputCount::datagrams},
    CountedNumber<InputCount>{{"received_bytes_total", "Bytes in them."}, &InputCount::bytes},
};

constexpr std::array sent_numbers{
    CountedNumber<OutputCount>{{"sent_datagrams_total", "Datagrams that the daemon sent."},
                               &OutputCount::datagrams},
    CountedNumber<OutputCount>{{"sent_bytes_total", "Bytes in them."}, &OutputCount::bytes},
    CountedNumber<OutputCount>{
        {"sent_blocked_total", "Datagrams not sent because the queue was full."},
        &OutputCount::blocked},
    CountedNumber<OutputCount>{{"sent_failed_total", "Datagrams not sent for another reason."},
                               &OutputCount::failed},
};

constexpr std::array app_numbers{
    CountedNumber<OutputCount>{{"app_sent_datagrams_total", "Datagrams sent to each app."},
                               &OutputCount::datagrams},
    CountedNumber<OutputCount>{{"app_sent_bytes_total", "Bytes in them."}, &OutputCount::bytes},
    CountedNumber<OutputCount>{
        {"app_blocked_total", "Datagrams not sent to it because the queue was full."},
        &OutputCount::blocked},
};

constexpr std::array udp_client_numbers{
    CountedNumber<OutputCount>{
        {"udp_client_sent_datagrams_total", "Datagrams sent to each UDP client."},
        &OutputCount::datagrams},
    CountedNumber<OutputCount>{{"udp_client_sent_bytes_total", "Bytes in them."},
                               &OutputCount::bytes},
    CountedNumber<OutputCount>{
        {"udp_client_blocked_total", "Datagrams not sent to it because the queue was full."},
        &OutputCount::blocked},
};

struct SingleNumber {
    MetricName metric;
    std::uint64_t Statistics::*number;
    std::string_view result = {}; // a label
};

constexpr std::array single_numbers{
    SingleNumber{{"camera_not_connected_total", "Frames not sent: the camera was not connected."},
                 &Statistics::camera_not_connected},
    SingleNumber{{"camera_frames_total", "Datagrams of the camera, by what became of them."},
                 &Statistics::frames_accepted,
                 "accepted"},
    SingleNumber{{"camera_frames_total", ""}, &Statistics::frames_too_short, "too_short"},
    SingleNumber{{"camera_frames_total", ""}, &Statistics::frames_too_long, "too_long"},
    SingleNumber{{"camera_frames_total", ""}, &Statistics::frames_wrong_length, "wrong_length"},
    SingleNumber{{"camera_frames_total", ""}, &Statistics::frames_unknown, "unknown"},
    SingleNumber{{"camera_frames_total", ""}, &Statistics::frames_ignored, "ignored"},
    SingleNumber{{"commands_taken_total", "Commands begun."}, &Statistics::commands_taken},
    SingleNumber{{"commands_unknown_total", "Of these, without a word that is known."},
                 &Statistics::commands_unknown},
    SingleNumber{{"commands_cut_total", "Commands cut to the longest."}, &Statistics::commands_cut},
    SingleNumber{{"commands_merged_total", "Commands left to a later one like it."},
                 &Statistics::commands_merged},
    SingleNumber{{"commands_dropped_total", "Commands not done: too many waited."},
                 &Statistics::commands_dropped},
    SingleNumber{{"settings_saves_total", "Times that the settings were saved, or were not."},
                 &Statistics::saves_done,
                 "done"},
    SingleNumber{{"settings_saves_total", ""}, &Statistics::saves_failed, "failed"},
    SingleNumber{{"settings_unsaved", "Whether the settings file lacks a change."},
                 &Statistics::settings_unsaved},
    SingleNumber{{"log_lines_lost_total", "Lines of the log that nobody read."},
                 &Statistics::log_lines_lost},
};

template<class Count>
void add_places(MetricText& text, const Statistics& record, std::string_view label,
                std::span<const CountedNumber<Count>> numbers,
                std::span<const CountPlace<Count>> places) {
    for (const auto& [metric, number] : numbers)
        for (const CountPlace<Count>& place : places)
            add_metric(text, metric, static_cast<double>(record.*place.count.*number),
                       metric_label(label, place.label));
}

// An address may have two places in a setting; the place keeps their lines apart.
std::string peer_label(const PeerCount& peer, std::size_t place) {
    std::array<char, INET_ADDRSTRLEN> host{};
    const in_addr address{peer.address};
    inet_ntop(AF_INET, &address, host.data(), host.size());
    return metric_label("address", std::string(host.data()) + ":" + std::to_string(peer.port)) +
           "," + metric_label("place", std::to_string(place));
}

void add_peers(MetricText& text, std::span<const PeerCount> peers,
               std::span<const CountedNumber<OutputCount>> numbers) {
    for (const auto& [metric, number] : numbers)
        for (std::size_t i = 0; i < peers.size(); ++i)
            if (peers[i].present != 0)
                add_metric(text, metric, static_cast<double>(peers[i].sent.*number),
                           peer_label(peers[i], i));
}

void add_single_numbers(MetricText& text, const Statistics& record) {
    for (const SingleNumber& row : single_numbers)
        add_metric(text, row.metric, static_cast<double>(record.*row.number),
                   row.result.empty() ? std::string() : metric_label("result", row.result));
}

} // namespace

void add_daemon_metrics(MetricText& text, const char* region) {
    const std::optional<Statistics> record = read_statistics(region);
    if (!record)
        return;
    add_metric(text, {"start_time_seconds", "When the daemon began to count, since 1970."},
               static_cast<double>(record->started));
    add_places<InputCount>(text, *record, "input", received_numbers, input_places);
    add_places<OutputCount>(text, *record, "output", sent_numbers, output_places);
    add_peers(text, record->apps, app_numbers);
    add_peers(text, record->udp_clients, udp_client_numbers);
    add_single_numbers(text, *record);
}

} // namespace panel
