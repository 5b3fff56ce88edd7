// The process-wide settings-and-status record. Every thread reads it: single bytes and words
// through load()/store() of core/shared_access.h, texts through the functions below. The supervisor
// loop copies it into /config_mem.
#pragma once

#include "core/shared_access.h"
#include "fieldrelaybox/shared_memory.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace fieldrelaybox {

struct Version {
    int major;
    int minor;
    int patch;
};

inline constexpr Version daemon_version{0, 20, 2};

// The live record.
ConfigRecord& config_record();

// Switches the camera link off or on until the next start: the flag of the record and its mirror in
// the status block, which agree whoever comes last.
void set_camera_disabled(bool disabled);

// Replaces a text field of the live record, cut to its capacity.
void store_text(char* field, std::size_t capacity, std::string_view text);

template<std::size_t Capacity> void store_text(char (&field)[Capacity], std::string_view text) {
    store_text(field, Capacity, text);
}

// A copy of a text field of the live record.
std::string load_text(const char* field, std::size_t capacity);

template<std::size_t Capacity> std::string load_text(const char (&field)[Capacity]) {
    return load_text(field, Capacity);
}

// Copies the whole live record; no text in the copy is half-written.
void copy_config_record(ConfigRecord& copy);

// Runs change, which sets fields of the live record and their mirrors: whole to every save, and not
// beside another change. It must not wait for anything.
void change_settings(const std::function<void()>& change);

// As copy_config_record, but no change is half in the copy. Not to be called within a change.
void copy_between_changes(ConfigRecord& copy);

} // namespace fieldrelaybox
