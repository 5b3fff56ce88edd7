// Whether a change of the networks could lock its owner out, and whether it did.
#pragma once

#include "network/wishes.h"

#include <string>
#include <vector>

namespace network {

// True when somebody may have come by what the change takes away. accepted: the networks that have
// proved themselves; answering: the interfaces by which the box can be reached now. The camera's
// network leads nobody in.
bool touches_way_in(const Wishes& accepted, const Wishes& wanted,
                    const std::vector<std::string>& answering);

// Whether an interface answers that the change leaves alone.
bool has_other_way(const Wishes& accepted, const Wishes& wanted,
                   const std::vector<std::string>& answering);

// Whether the home network is joined or somebody is at the access point.
bool somebody_came_by(const Wishes& wanted);

// Whether each network that is new works as far as can be seen without anybody: the home network is
// joined, the access point runs. The camera need not be there.
bool answer_all(const Wishes& accepted, const Wishes& wanted);

// Whether there is a way in now that the change has been made: the home network is joined, somebody
// is at the access point, or there is another one.
bool has_way_in(const Wishes& accepted, const Wishes& wanted);

} // namespace network
