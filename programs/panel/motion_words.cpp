#include "panel/motion_words.h"

#include <algorithm>
#include <array>

namespace panel {
namespace {

constexpr std::array<MotionWord, 7> motion_words{{
    {"position", "moverel", Held::gimbal, true},
    {"zoom", "-2", Held::zoom, true},
    {"zoom", "-3", Held::zoom, true},
    {"position", "", Held::gimbal},
    {"orientation", "", Held::gimbal},
    {"horizont", "", Held::gimbal},
    {"zoom", "", Held::zoom},
}};

} // namespace

const MotionWord* find_motion_word(std::string_view word, std::string_view param) {
    const auto* const found = std::ranges::find_if(motion_words, [=](const MotionWord& row) {
        return row.word == word && (row.param.empty() || row.param == param);
    });
    return found == motion_words.end() ? nullptr : found;
}

} // namespace panel
