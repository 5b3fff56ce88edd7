// Recordings of edges that stand in for lines, for tests and for what was seen in the field. A line
// of the file is "NANOSECONDS LEVEL" or, where there are several lines, "NANOSECONDS LEVEL LINE":
// level 0 or 1, lines counted from 1. Empty lines and those that begin with # are passed over.
#pragma once

#include "rcin/edges.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace rcin {

struct EdgeFile {
    std::vector<Edge> edges;
    std::string fault; // with file and line; empty when all of it could be read
};

EdgeFile read_edge_file(const std::string& path, std::size_t most_lines);

// Plays a recording in the time in which it was made, from its first edge on.
struct EdgePlayer {
    std::vector<Edge> edges;
    std::size_t next = 0;
    std::optional<std::int64_t> start_us; // of the monotonic clock
};

// Hands over all edges that are due. Returns when the next one is, never_us behind the last one.
std::int64_t play_edges(EdgePlayer& player, std::int64_t now_us,
                        const std::function<void(const Edge&)>& take);

} // namespace rcin
