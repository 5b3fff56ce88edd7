#include "stream/surroundings.h"

#include "core/shell.h"
#include "core/text.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string_view>
#include <system_error>

namespace stream {

namespace {

// The first question of all has GStreamer look through all of its plugins.
constexpr int question_ms = 30'000;

bool ask_for_element(const std::string& name, std::map<std::string, bool>& known) {
    if (const auto found = known.find(name); found != known.end())
        return found->second;
    if (!fieldrelaybox::is_shell_safe_name(name))
        return false;
    const std::string command = "gst-inspect-1.0 --exists " + name + " >/dev/null 2>&1";
    const int status = fieldrelaybox::run_shell_command(command.c_str(), question_ms);
    if (status >= 0) // else nobody knows
        known[name] = status == 0;
    return status == 0;
}

void put_in_front(const char* variable, const std::string& folder) {
    const char* others = std::getenv(variable);
    const bool any = others != nullptr && *others != '\0';
    setenv(variable, any ? (folder + ':' + others).c_str() : folder.c_str(), 1);
}

// Which elements there are depends on the video devices that this kind may see. Kinds that see
// others would write one common file anew in turns.
std::string registry(const std::string& folder) {
    int devices = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev", error))
        devices += entry.path().filename().string().starts_with("video") ? 1 : 0;
    return folder + "/registry-" + std::to_string(devices) + ".bin";
}

} // namespace

Surroundings find_surroundings(std::string source_config) {
    std::error_code error;
    return {.folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path(),
            .source_config = std::move(source_config),
            .has_element =
                [known = std::make_shared<std::map<std::string, bool>>()](std::string_view name) {
                    return ask_for_element(std::string(name), *known);
                }};
}

std::string plugin_folder(const std::string& program_folder) {
    constexpr std::array places{"/gstreamer-1.0", "/../gstreamer-1.0"};
    std::error_code error;
    for (const char* place : places) {
        const std::filesystem::path folder = program_folder + place;
        if (std::filesystem::is_directory(folder, error))
            return folder.lexically_normal();
    }
    return "";
}

void set_environment(const Surroundings& surroundings) {
    if (const std::string folder = plugin_folder(surroundings.folder); !folder.empty())
        put_in_front("GST_PLUGIN_PATH", folder);
    if (const char* cache = std::getenv("CACHE_DIRECTORY"))
        setenv("GST_REGISTRY", registry(cache).c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    unsetenv("LANGUAGE");
}

} // namespace stream
