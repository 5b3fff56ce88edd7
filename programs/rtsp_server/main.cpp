// rtsp-server: the camera's picture for any number of players at rtsp://BOX:8554/video.
#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/word_table.h"
#include "rtsp_server/picture_source.h"
#include "rtsp_server/server.h"
#include "rtsp_server/viewers.h"

#include <array>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <glib-unix.h>
#include <optional>
#include <span>
#include <string_view>

namespace {

using fieldrelaybox::exit_unable;
constexpr const char* usage =
    "Usage: rtsp-server [--port N | --version | --help]\n"
    "\n"
    "Serves the picture that the daemon sends to 127.0.0.1:3005 at rtsp://BOX:N/video, to any\n"
    "number of players, over UDP and TCP.\n"
    "\n"
    "  --port N   where players come to, 1 to 65535 (8554)\n"
    "  --version  print the version\n"
    "  --help     print this text\n";

struct Run {
    GMainLoop* loop;
    int status;
};

std::optional<std::uint16_t> port_of(std::string_view text) {
    std::uint16_t port = 0;
    const char* end = text.data() + text.size();
    const auto [stop, fault] = std::from_chars(text.data(), end, port);
    return fault == std::errc{} && stop == end && port > 0 ? std::optional{port} : std::nullopt;
}

gboolean end_run(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

// Who started it tries again.
void fail(void* run) {
    static_cast<Run*>(run)->status = exit_unable;
    g_main_loop_quit(static_cast<Run*>(run)->loop);
}

// Does not return once it serves.
int serve(std::uint16_t port) {
    gst_init(nullptr, nullptr);
    if (!rtsp_server::start_server(port))
        return exit_unable;
    Run run{.loop = g_main_loop_new(nullptr, FALSE), .status = 0};
    g_unix_signal_add(SIGTERM, end_run, run.loop);
    g_unix_signal_add(SIGINT, end_run, run.loop);
    rtsp_server::PictureSource source{.pipeline = nullptr, .failed = fail, .user = &run};
    if (rtsp_server::start_picture_source(source, rtsp_server::show_picture))
        g_main_loop_run(run.loop);
    else
        run.status = exit_unable;
    // The players' threads run to the end: they may be letting go of what exit() would destroy.
    std::_Exit(run.status);
}

int print_help() {
    return std::fputs(usage, stdout) < 0 ? exit_unable : 0;
}

int print_version() {
    return fieldrelaybox::print_version_of("rtsp-server");
}

int refuse(const char* argument) {
    std::fprintf(stderr, "rtsp-server: unknown or incomplete argument \"%s\", see --help\n",
                 argument);
    return fieldrelaybox::exit_wrong_usage;
}

struct Answer {
    std::string_view word;
    int (*give)();
};

constexpr std::array<Answer, 2> answers{{
    {"--help", print_help},
    {"--version", print_version},
}};

} // namespace

int main(int count, char** values) {
    const std::span<char* const> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() < 2)
        return serve(8554);
    const std::string_view first = arguments[1];
    if (first == "--port" && arguments.size() == 3) {
        const std::optional<std::uint16_t> port = port_of(arguments[2]);
        return port ? serve(*port) : refuse(arguments[2]);
    }
    const Answer* const answer = fieldrelaybox::find_word(answers, first);
    if (answer == nullptr)
        return refuse(arguments[1]);
    return arguments.size() == 2 ? answer->give() : refuse(arguments[2]);
}
