// Which networks stay and which are taken back: new ones have to prove themselves. Each of these
// returns the program's status: 0, exit_refused, or exit_unable when it is to be tried again.
#pragma once

#include "network/options.h"
#include "network/settings.h"

#include <optional>
#include <string>

namespace network {

// Puts those of before in force. Returns status, or exit_unable when that fails.
int go_back_to(const Wishes& accepted, int status);

// The same, and says why.
int refuse(const Wishes& accepted, const std::string& fault);

// They are what is fallen back on from now on.
int accept(const Wanted& wanted);

// When nothing answers by the networks of before either, there is nothing to lose: the router may
// be about to start, or the box is with its camera in the field. Then the result is empty, and
// those of the settings, which were refused before, are to be tried again.
std::optional<int> go_back_unless_cut_off(const Options& options, const Wishes& accepted,
                                          const Wanted& wanted);

// How new networks came about.
struct Novelty {
    bool in_danger; // they may have taken the only way in
    bool is_fresh;  // they were made just now
};

// Accepts networks that answer.
int prove(const Options& options, const Wishes& accepted, const Wanted& wanted, Novelty novelty);

} // namespace network
