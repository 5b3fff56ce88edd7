// From raw channels to calibrated ones: with the calibration that was stored, or else with one that
// is learnt and stored first.
#pragma once

#include "rcin/calibration.h"
#include "rcin/input.h"
#include "rcin/receiver.h"

#include <cstdint>
#include <optional>
#include <string>

namespace rcin {

struct Training {
    std::string rc1_mode;
    std::string rc2_mode;
    std::optional<Calibration> calibration; // none: learning
    Learning learning;
    std::int64_t read_due_us = never_us; // the stored calibration, again
    std::string fault;                   // of that, the last one that was told
};

// Reads the stored calibration; logs what is wrong with it, and that it will be learnt. While
// nothing is learnt it is read again every second: the boot partition is away at times.
void begin_training(Training& training, std::string rc1_mode, std::string rc2_mode,
                    std::int64_t now_us);

// Makes an outcome of raw channels one to be written.
void train(Training& training, Outcome& outcome, std::int64_t now_us);

} // namespace rcin
