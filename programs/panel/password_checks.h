// Whether passwords are right. That takes long on purpose, so a thread of its own finds it out, one
// at a time: what moves is stopped in time whoever tries to log in.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace panel {

struct PasswordCheck {
    std::uint64_t connection = 0; // that waits for it
    std::string hash;
    std::string password;
    bool is_right = false;
};

struct PasswordQueue; // shared with the thread, which runs while something waits

// Null, told in the log, when the system has no descriptor left.
std::shared_ptr<PasswordQueue> make_password_queue();

// Readable while there is something for take_checked.
int descriptor_of(const PasswordQueue& queue);

bool has_room(PasswordQueue& queue);
void begin_check(const std::shared_ptr<PasswordQueue>& queue, PasswordCheck check);
std::vector<PasswordCheck> take_checked(PasswordQueue& queue);

} // namespace panel
