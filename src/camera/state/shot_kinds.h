// The kinds of shot: what the apps call them, how the camera reports and is told them.
#pragma once

#include "camera/state/camera_state.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// Byte 57 of the camera's shooting parameters and byte 0 of the command that chooses the shot.
enum class PhotoType : std::uint8_t {
    single = 1,
    hdr = 2,
    burst = 4,
    bracketing = 5,
    timed = 6,
    panorama = 7,
};

inline constexpr std::uint8_t endless = 0xFF; // the count of a timed shot that goes on

// One kind. What a photo type does not use is 0.
struct ShotKindRow {
    ShotKind kind;
    std::string_view mode_word; // "shottype" and its value, as the apps say it
    std::string_view type_word;
    PhotoType photo_type;
    std::uint8_t count;        // photos of a burst, a bracketing or a timed shot
    std::uint16_t period = 0;  // of a timed shot, s
    std::uint8_t panorama = 0; // the camera's number of a panorama
};

// A timelapse is chosen by its interval and duration and reported by a type of its own.
inline constexpr ShotKind timelapse_kind{4, 0};

inline constexpr std::array<ShotKindRow, 15> shot_kinds{{
    {{0, 0}, "single", "shot", PhotoType::single, 1},
    {{0, 1}, "single", "10s", PhotoType::timed, 1, 10},
    {{0, 2}, "single", "hdr", PhotoType::hdr, 1},
    {{1, 0}, "multiple", "3shots", PhotoType::burst, 3},
    {{1, 1}, "multiple", "5shots", PhotoType::burst, 5},
    {{1, 2}, "multiple", "7shots", PhotoType::burst, 7},
    {{1, 3}, "multiple", "aeb3", PhotoType::bracketing, 3},
    {{1, 4}, "multiple", "aeb5", PhotoType::bracketing, 5},
    {{2, 0}, "interval", "10s", PhotoType::timed, endless, 10},
    {{2, 1}, "interval", "30s", PhotoType::timed, endless, 30},
    {{3, 0}, "pano", "180", PhotoType::panorama, endless, 0, 5},
    {{3, 1}, "pano", "360", PhotoType::panorama, endless, 0, 1},
    {{3, 2}, "pano", "180self", PhotoType::panorama, endless, 0, 3},
    {{3, 3}, "pano", "manual", PhotoType::panorama, endless, 0, 4},
    {{3, 4}, "pano", "grid", PhotoType::panorama, endless, 0, 7},
}};

// The row that the apps call so, or null.
constexpr const ShotKindRow* find_shot_kind(std::string_view mode_word,
                                            std::string_view type_word) {
    const auto* found = std::find_if(
        shot_kinds.data(), shot_kinds.data() + shot_kinds.size(), [=](const ShotKindRow& row) {
            return row.mode_word == mode_word && row.type_word == type_word;
        });
    return found == shot_kinds.data() + shot_kinds.size() ? nullptr : found;
}

} // namespace fieldrelaybox
