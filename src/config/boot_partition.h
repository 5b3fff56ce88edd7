// The boot partition, where the settings live as a file: remounted to be written, and mounted anew
// afterwards. It is FAT, and its power can go at any moment: so there is a second file beside it,
// and one of the two is whole at all times.
#pragma once

#include <functional>
#include <string>

namespace fieldrelaybox {

// The master file on the boot partition, which may be a link, and the copy with Unix line ends that
// the next start reads. Only tests put them elsewhere.
inline const char* config_file_path = "/boot/fieldrelaybox.conf";
inline const char* run_copy_path = "/run/fieldrelaybox.conf";

// The text of a save. It is asked for when the partition is writable and nothing is written yet;
// whole_file is the path of whole settings there, the newest, or "".
using TextToSave = std::function<std::string(const std::string& whole_file)>;

// Writes the text to the file beside config_file_path (".bak"), then to that itself, mounts the
// partition anew, and refreshes run_copy_path. The first step that fails is the last: what was
// whole before it stays so. Returns whether the partition holds the text, which is all that a save
// is for. A failure is logged, but not again while the reason stays the same. Called by one thread
// at a time.
bool write_settings_to_boot(const TextToSave& text_to_save);

} // namespace fieldrelaybox
