// From raw channels to calibrated ones: with the calibration that was stored, or else with one that
// is learnt and stored first.
#pragma once

#include "rcin/calibration.h"
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
};

// Reads the stored calibration; logs what is wrong with it, and that it will be learnt.
void begin_training(Training& training, std::string rc1_mode, std::string rc2_mode);

// Makes an outcome of raw channels one to be written.
void train(Training& training, Outcome& outcome, std::int64_t now_us);

} // namespace rcin
