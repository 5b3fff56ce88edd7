// Whole records and files for the tests of the settings.
#pragma once

#include "fieldrelaybox/shared_memory.h"
#include "unit/test_data.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace test_data {

inline std::string read_data(const std::string& name) {
    return read_file(std::string(TEST_DATA_DIR "/") + name);
}

// The digits of a file of hexadecimal lines.
inline std::string read_hex(const std::string& name) {
    std::string hex = read_data(name);
    std::erase(hex, '\n');
    return hex;
}

inline std::string hex_of(const ConfigRecord& record) {
    ByteVector bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return to_hex(bytes);
}

// A path of this process's own; overwritten by the next call with the same name.
inline std::string temporary_path(const std::string& name) {
    return (std::filesystem::temp_directory_path() /
            ("fieldrelaybox_test." + std::to_string(getpid()) + '.' + name))
        .string();
}

inline std::string write_temporary_file(const std::string& content) {
    const std::string path = temporary_path("conf");
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

} // namespace test_data
