// Files of tests/data and the JSON, hexadecimal, socket and waiting chores around them.
#pragma once

#include "core/bytes.h"
#include "core/sockets.h"

#include <algorithm>
#include <cJSON.h>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace test_data {

using ByteVector = std::vector<std::uint8_t>;

inline std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string read_data(const std::string& name) {
    return read_file(std::string(TEST_DATA_DIR "/") + name);
}

// A path of this process's own.
inline std::string temporary_path(const std::string& name) {
    return (std::filesystem::temp_directory_path() /
            ("fieldrelaybox_test." + std::to_string(getpid()) + '.' + name))
        .string();
}

// Whether condition came true within 10 s.
inline bool await(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

inline Json load_json(const std::string& name) {
    Json json(cJSON_Parse(read_data(name).c_str()), cJSON_Delete);
    EXPECT_NE(json, nullptr) << name;
    return json;
}

inline const cJSON* member(const cJSON* object, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

inline std::string text(const cJSON* object, const char* name) {
    const char* value = cJSON_GetStringValue(member(object, name));
    return value == nullptr ? "" : value;
}

inline int number(const cJSON* object, const char* name) {
    const cJSON* item = member(object, name);
    return item == nullptr ? 0 : item->valueint;
}

// Of an array or an object.
inline std::vector<const cJSON*> items_of(const cJSON* list) {
    std::vector<const cJSON*> items;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list) items.push_back(item);
    return items;
}

inline std::vector<std::string> texts_of(const cJSON* list) {
    std::vector<std::string> texts;
    for (const cJSON* item : items_of(list))
        texts.emplace_back(item->valuestring);
    return texts;
}

inline ByteVector from_hex(const std::string& hex) {
    ByteVector bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

inline std::string to_hex(fieldrelaybox::Bytes bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        hex += digits[byte >> 4];
        hex += digits[byte & 15];
    }
    return hex;
}

// The page has these bytes as an example.
inline void expect_documented(const std::string& hex, const std::string& name = "app-protocol.md") {
    std::string page = read_file(SOURCE_DIR "/docs/" + name);
    std::erase_if(page, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_NE(page.find('`' + hex + '`'), std::string::npos) << hex;
}

// A UDP socket on a loopback port, 0: of the system's choice.
class Receiver {
public:
    Receiver() : Receiver(fieldrelaybox::loopback_address, 0) {}
    Receiver(std::uint32_t address, std::uint16_t port) {
        EXPECT_TRUE(fieldrelaybox::bind_socket(socket_, address, port));
        socklen_t size = sizeof address_;
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size);
    }
    ~Receiver() { close(socket_); }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    const sockaddr_in& address() const { return address_; }
    int socket() const { return socket_; }

    // What has arrived; sending over loopback is done when the send call returns.
    std::vector<std::string> take() const {
        std::vector<std::string> datagrams;
        ByteVector buffer(65536);
        ssize_t length = 0;
        while ((length = recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0)
            datagrams.push_back(
                to_hex(fieldrelaybox::Bytes(buffer).first(static_cast<std::size_t>(length))));
        return datagrams;
    }

private:
    int socket_ = fieldrelaybox::open_udp_socket();
    sockaddr_in address_{};
};

} // namespace test_data
