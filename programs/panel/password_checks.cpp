#include "panel/password_checks.h"

#include "core/log.h"
#include "core/threads.h"
#include "panel/passwords.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace panel {

struct PasswordQueue {
    std::mutex mutex; // for all but the descriptor
    std::deque<PasswordCheck> waiting;
    std::vector<PasswordCheck> checked;
    bool is_running = false;
    int descriptor = -1;

    PasswordQueue() = default;
    ~PasswordQueue() { close(descriptor); }
    PasswordQueue(const PasswordQueue&) = delete;
    PasswordQueue& operator=(const PasswordQueue&) = delete;
    PasswordQueue(PasswordQueue&&) = delete;
    PasswordQueue& operator=(PasswordQueue&&) = delete;
};

namespace {

constexpr std::size_t most_waiting_passwords = 32; // some 3 s of a small board

std::optional<PasswordCheck> take_waiting(PasswordQueue& queue) {
    const std::lock_guard lock(queue.mutex);
    if (queue.waiting.empty()) {
        queue.is_running = false;
        return std::nullopt;
    }
    PasswordCheck check = std::move(queue.waiting.front());
    queue.waiting.pop_front();
    return check;
}

void hand_back(PasswordQueue& queue, PasswordCheck check) {
    const std::lock_guard lock(queue.mutex);
    queue.checked.push_back(std::move(check));
    eventfd_write(queue.descriptor, 1);
}

void check_waiting(PasswordQueue& queue) {
    while (std::optional<PasswordCheck> check = take_waiting(queue)) {
        fieldrelaybox::run_guarded(
            "password", [&] { check->is_right = is_password(check->hash, check->password); });
        hand_back(queue, std::move(*check));
    }
}

} // namespace

std::shared_ptr<PasswordQueue> make_password_queue() {
    auto queue = std::make_shared<PasswordQueue>();
    queue->descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (queue->descriptor >= 0)
        return queue;
    fieldrelaybox::log_error("cannot check passwords: %s", std::strerror(errno));
    return nullptr;
}

int descriptor_of(const PasswordQueue& queue) {
    return queue.descriptor;
}

bool has_room(PasswordQueue& queue) {
    const std::lock_guard lock(queue.mutex);
    return queue.waiting.size() < most_waiting_passwords;
}

// Without a thread it is tried again with the next one: so long who waits gets no answer.
void begin_check(const std::shared_ptr<PasswordQueue>& queue, PasswordCheck check) {
    const std::lock_guard lock(queue->mutex);
    queue->waiting.push_back(std::move(check));
    if (!queue->is_running)
        queue->is_running =
            fieldrelaybox::start_thread("passwords", [queue] { check_waiting(*queue); });
}

std::vector<PasswordCheck> take_checked(PasswordQueue& queue) {
    const std::lock_guard lock(queue.mutex);
    eventfd_t count = 0;
    eventfd_read(queue.descriptor, &count);
    return std::exchange(queue.checked, {});
}

} // namespace panel
