// Lines of a GPIO chip whose edges are watched. The one file that knows libgpiod, versions 1.6
// and 2.
#pragma once

#include "rcin/edges.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace rcin {

enum class WatchedEdges : std::uint8_t { rising, both };

struct GpioLines; // requested; given back with the last copy of their pointer

struct RequestedLines {
    std::shared_ptr<GpioLines> lines;
    std::string fault; // why there are none
};

// chip: the name, "gpiochip0", or the label, "pinctrl-bcm2835".
RequestedLines request_lines(const std::string& chip, const std::vector<unsigned>& offsets,
                             WatchedEdges watched);

// Readable when there are edges.
std::vector<int> descriptors_of(const GpioLines& lines);

// Hands over the edges there are, without waiting, with the kernel's times; those of different
// lines not always in the order of time. False when the lines are gone.
bool read_edges(GpioLines& lines, const std::function<void(const Edge&)>& take);

} // namespace rcin
