#include "rcin/pad_input.h"

#include "rcin/pad_layouts.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <libevdev/libevdev.h>
#include <memory>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace rcin {

namespace {

// A pad says nothing while nothing moves, and is there all the same.
constexpr std::int64_t repeat_us = 50'000;

// One that never stops cannot keep the others waiting.
constexpr int most_pad_events = 1000;

void close_device(libevdev* device) {
    const int descriptor = libevdev_get_fd(device);
    libevdev_free(device);
    close(descriptor);
}

struct Pad {
    std::unique_ptr<libevdev, void (*)(libevdev*)> device;
    const PadLayout* layout;
    bool in_step = true; // false while events that the kernel had no room for are made up for
    bool has_reported = false;
    std::int64_t due_us = 0;
};

// Null, with errno set, when it is none or cannot be opened.
std::shared_ptr<Pad> open_pad_file(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return {};
    libevdev* opened = nullptr;
    if (const int error = libevdev_new_from_fd(descriptor, &opened); error != 0) {
        close(descriptor);
        errno = -error;
        return {};
    }
    auto pad = std::make_shared<Pad>(Pad{{opened, close_device}, &layout_of(*opened)});
    if (is_pad(*opened))
        return pad;
    pad.reset();
    errno = ENODEV;
    return {};
}

std::vector<std::string> files_in(const char* folder, bool (*is_wanted)(std::string_view)) {
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (is_wanted(entry.path().filename().string()))
            files.push_back(entry.path());
    return files;
}

// The names by kind and serial number come first: those of pads that stay plugged in do not change
// places when the box starts again. Bluetooth pads have only a number.
std::vector<std::string> pad_files() {
    std::vector<std::string> files = files_in("/dev/input/by-id", [](std::string_view name) {
        return name.ends_with("-event-joystick");
    });
    std::sort(files.begin(), files.end());
    std::vector<std::string> numbered =
        files_in("/dev/input", [](std::string_view name) { return name.starts_with("event"); });
    std::sort(numbered.begin(), numbered.end(), [](const std::string& a, const std::string& b) {
        return std::pair(a.size(), a) < std::pair(b.size(), b);
    });
    files.insert(files.end(), numbered.begin(), numbered.end());
    return files;
}

std::shared_ptr<Pad> open_first_pad() {
    for (const std::string& path : pad_files())
        if (std::shared_ptr<Pad> pad = open_pad_file(path))
            return pad;
    return {};
}

struct Drained {
    bool any = false;  // something has come
    bool gone = false; // the pad
};

Drained drain(Pad& pad) {
    Drained drained;
    for (int i = 0; i < most_pad_events; ++i) {
        input_event event{};
        const unsigned flag = pad.in_step ? LIBEVDEV_READ_FLAG_NORMAL : LIBEVDEV_READ_FLAG_SYNC;
        const int result = libevdev_next_event(pad.device.get(), flag, &event);
        if (result == -EAGAIN && !std::exchange(pad.in_step, true))
            continue;
        if (result < 0) {
            drained.gone = result != -EAGAIN && result != -EINTR;
            break;
        }
        drained.any = true;
        pad.in_step = result == LIBEVDEV_READ_STATUS_SUCCESS;
    }
    return drained;
}

Reading read_pad(Pad& pad, std::int64_t now_us, const TakeFrame& take) {
    const Drained drained = drain(pad);
    if (drained.gone)
        return {.gone = true};
    pad.has_reported = pad.has_reported || drained.any || has_reported(*pad.device);
    if (!drained.any && now_us < pad.due_us)
        return {.gone = false, .wake_us = pad.due_us};
    pad.due_us = now_us + repeat_us;
    if (pad.has_reported)
        take(pad_frame(*pad.layout, *pad.device));
    return {.gone = false, .wake_us = pad.due_us};
}

} // namespace

Opened open_pad(const std::string& device) {
    const bool is_any = device == "auto";
    const std::shared_ptr<Pad> pad = is_any ? open_first_pad() : open_pad_file(device);
    if (!pad && is_any)
        return {.input = {}, .fault = "there is no game pad and no joystick", .hint = {}};
    if (!pad)
        return {.input = {},
                .fault = errno == ENODEV ? device + " is no game pad and no joystick"
                                         : device + ": " + std::strerror(errno),
                .hint = {}};
    return {.input = Input{.descriptors = {libevdev_get_fd(pad->device.get())},
                           .read =
                               [pad](std::int64_t now_us, const TakeFrame& take) {
                                   return read_pad(*pad, now_us, take);
                               }},
            .fault = {},
            .hint = {}};
}

} // namespace rcin
