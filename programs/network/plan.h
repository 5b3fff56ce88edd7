// What has to be done so that the box has the networks that are wanted: nothing, when it has them.
#pragma once

#include "network/wishes.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace network {

struct Step {
    enum class Kind {
        write,  // a private file at text, with content
        remove, // the file at text
        run,    // the command text, which has to succeed
        ask,    // the same, of NetworkManager, which may be about to start
        attempt // the same, but what was to be ended may be away already
    };
    Kind kind;
    std::string text;
    std::string content;      // of a file; may hold a pass phrase
    std::string_view network; // which it is for; empty: all
};

// there: what a file holds, "" when it is not there. The steps of networks that stay as they are
// are none. What goes comes first, as what comes may need its interface.
std::vector<Step> plan_of(const Wishes& wishes,
                          const std::function<std::string(const std::string& path)>& there);

// A line for people, without pass phrases.
std::string describe(const Step& step);

} // namespace network
