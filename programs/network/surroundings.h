// What is on the box at this moment: radios, ways to reach it.
#pragma once

#include "network/wishes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace network {

// Of /sys; empty for what is no radio, or is not there.
std::string radio_of(const std::string& interface_name);

enum class Block : std::uint8_t { none, soft, hard };

// Whether the radio of an interface is switched off (rfkill): soft, which a command takes away, or
// by a switch of the device.
Block block_of(const std::string& interface_name);

bool has_interface(const std::string& interface_name);

// The real interfaces with a carrier and an address, by which somebody may reach the box.
std::vector<std::string> interfaces_that_answer();

// Whether NetworkManager has joined the network of the connection and has an address there.
bool has_joined(const char* uuid);

// Whether the access point's service runs, rather than starts again and again.
bool runs_access_point();

// Whether somebody took an address at the access point since it started.
bool has_guests();

} // namespace network
