// The file that names where picture and sound come from when not from the camera and the sound
// card.
#pragma once

#include <string>

namespace stream {

struct SourceConfig {
    std::string url;   // of a picture and its sound; empty: none
    std::string sound; // ALSA device in place of the USB sound card, or test:; empty: the card
    std::string fault; // what is wrong with the file; empty: nothing
};

// A file that is not there names nothing.
SourceConfig read_source_config(const std::string& path);

} // namespace stream
