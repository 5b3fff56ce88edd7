#include "panel/passwords.h"

#include "config/whole_files.h"
#include "core/log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <crypt.h>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/types.h>
#include <unistd.h>

namespace panel {
namespace {

using fieldrelaybox::log_error;

std::string crypted(const std::string& password, const std::string& setting) {
    const auto data = std::make_unique<crypt_data>();
    const char* const hash =
        crypt_rn(password.c_str(), setting.c_str(), data.get(), sizeof(crypt_data));
    return hash == nullptr ? std::string() : hash;
}

// A small board has other things to do: less than the usual cost.
std::string hash_of(const std::string& password) {
    constexpr unsigned long cost = 3;
    std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting{};
    const int size = static_cast<int>(setting.size());
    if (crypt_gensalt_rn("$y$", cost, nullptr, 0, setting.data(), size) == nullptr)
        return {};
    return crypted(password, setting.data());
}

} // namespace

bool store_password(const std::string& file, std::string_view password) {
    if (password.size() < shortest_password || password.size() > longest_password) {
        log_error("a password has %zu to %zu characters", shortest_password, longest_password);
        return false;
    }
    const std::string hash = hash_of(std::string(password));
    if (hash.empty()) {
        log_error("the password cannot be hashed: %s", std::strerror(errno));
        return false;
    }
    const fieldrelaybox::Failure failure = fieldrelaybox::replace_private_file(file, hash + "\n");
    if (!failure.empty())
        log_error("the password is not stored: %s", failure.c_str());
    return failure.empty();
}

std::string read_password_hash(const std::string& file) {
    std::array<char, CRYPT_OUTPUT_SIZE + 2> text{};
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t count = descriptor < 0 ? -1 : read(descriptor, text.data(), text.size() - 1);
    const int fault = errno;
    if (descriptor >= 0)
        close(descriptor);
    std::string hash(text.data());
    hash.erase(std::min(hash.find('\n'), hash.size()));
    if (count >= 0 && !hash.empty() && crypt_checksalt(hash.c_str()) != CRYPT_SALT_INVALID)
        return hash;
    log_error("cannot read the password file %s: %s (--set-password writes one)", file.c_str(),
              count < 0 ? std::strerror(fault) : "it holds no hash");
    return {};
}

bool is_password(const std::string& hash, std::string_view password) {
    const bool fits =
        password.size() <= longest_password && password.find('\0') == std::string_view::npos;
    const std::string given = crypted(fits ? std::string(password) : std::string(), hash);
    return !given.empty() && fits && is_same_text(given, hash);
}

bool is_same_text(std::string_view a, std::string_view b) {
    unsigned difference = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); i++)
        difference |= static_cast<unsigned>(a[i] ^ b[i]);
    return difference == 0;
}

} // namespace panel
