// Signs of life of the threads that the box is of no use without. The supervisor loop feeds the
// system's watchdog only while all of them show some.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

enum class Vital : std::uint8_t { relay, transcode, audio, telemetry, control, commands };

// The name of the thread, by its number.
inline constexpr std::array vital_threads{"video",     "transcode", "audio",
                                          "telemetry", "control",   "commands"};
static_assert(vital_threads.size() == static_cast<std::size_t>(Vital::commands) + 1);

inline std::array<std::atomic<bool>, vital_threads.size()> life_signs{};

// Called by each of these threads every two seconds or more often, whether or not there is anything
// to do; one store.
inline void show_life(Vital vital) {
    life_signs[static_cast<std::size_t>(vital)].store(true, std::memory_order_relaxed);
}

// The name of a thread that has shown no life since this last returned null; null when all have.
inline const char* find_silent_thread() {
    for (std::size_t i = 0; i < vital_threads.size(); ++i) {
        if (!life_signs[i].load(std::memory_order_relaxed))
            return vital_threads[i];
    }
    for (std::atomic<bool>& sign : life_signs)
        sign.store(false, std::memory_order_relaxed);
    return nullptr;
}

} // namespace fieldrelaybox
