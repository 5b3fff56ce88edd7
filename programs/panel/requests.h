// What a page asks for, as JSON in a text message. Everything in it is a stranger's.
#pragma once

#include "panel/holds.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace panel {

inline constexpr std::size_t longest_request = 4096;

// {"watch":true,"sound":false}: whether pictures and sound are to come.
struct Watch {
    bool pictures = false;
    bool sound = false;
};

// {"command":{"cmd":"record","param":"start"}}: to the box, written anew from its members, which
// are texts or plain numbers. It may be longer than a box reads.
struct Command {
    std::string json;
    std::string word;  // its "cmd"
    std::string param; // its "param", in any letter case as the box takes it
};

// {"hold":"gimbal","a":-300,"b":0} every 200 ms, {"hold":"zoom","a":1}; {"release":"gimbal"}.
struct HoldRequest {
    Held what;
    Motion motion;
};
struct ReleaseRequest {
    Held what;
};

// {"box":"192.0.2.5:4242"}: of those that were found.
struct Choose {
    std::string box;
};

using Request = std::variant<Watch, Command, HoldRequest, ReleaseRequest, Choose>;

// Nothing for anything else: other members, other types, the same member twice, NUL in a text.
// Numbers are cut to their limits.
std::optional<Request> parse_request(std::string_view text);

} // namespace panel
