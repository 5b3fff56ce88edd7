// Which channels an access point may use in a country, by the kernel's own database of what the
// authorities allow.
#pragma once

#include <string_view>

namespace network {

inline constexpr const char* regulations_file = "/lib/firmware/regulatory.db";

// The middle of a channel, in MHz; 0 when the band (2 is 2.4 GHz, 5 is 5 GHz) has no such channel
// of 20 MHz, or radar has it first.
int frequency_of(int band, int channel);

enum class Permission {
    granted,
    refused,         // at this frequency nobody may send unasked, or nothing is allowed
    unknown_country, // the database does not have it
    unknown,         // no database, or none that can be read
};

// For an access point with 20 MHz around frequency. database: the content of the file; country: two
// characters.
Permission permission_of(std::string_view database, std::string_view country, int frequency);

} // namespace network
