#include "rcin/training.h"

#include "core/log.h"
#include "rcin/calibration_file.h"

#include <algorithm>
#include <utility>

namespace rcin {

namespace {

constexpr std::int64_t read_again_us = 1'000'000;

void read_stored(Training& training, std::int64_t now_us) {
    StoredCalibration stored =
        read_calibration(calibration_path, {.rc1 = training.rc1_mode, .rc2 = training.rc2_mode});
    if (!stored.fault.empty() && stored.fault != training.fault)
        fieldrelaybox::log_warning("%s", stored.fault.c_str());
    training.fault = std::move(stored.fault);
    training.calibration = stored.calibration;
    training.read_due_us = training.calibration ? never_us : now_us + read_again_us;
}

// Before anything is learnt in its place.
void look_for_stored(Training& training, std::int64_t now_us) {
    if (training.calibration || now_us < training.read_due_us)
        return;
    read_stored(training, now_us);
    if (training.calibration)
        fieldrelaybox::log_line("the calibration in %s is used", calibration_path);
}

void take_calibration(Training& training, const Calibration& calibration) {
    const auto learnt = std::ranges::count_if(
        calibration, [](const std::optional<Travel>& travel) { return travel.has_value(); });
    fieldrelaybox::log_line("calibrated: %d channels", static_cast<int>(learnt));
    training.calibration = calibration;
    store_calibration(
        format_calibration(calibration, {.rc1 = training.rc1_mode, .rc2 = training.rc2_mode}));
}

} // namespace

void begin_training(Training& training, std::string rc1_mode, std::string rc2_mode,
                    std::int64_t now_us) {
    training.rc1_mode = std::move(rc1_mode);
    training.rc2_mode = std::move(rc2_mode);
    read_stored(training, now_us);
    if (!training.calibration)
        fieldrelaybox::log_line("no calibration: move every stick and switch to its ends, then let "
                                "them rest for 2 s");
}

void train(Training& training, Outcome& outcome, std::int64_t now_us) {
    look_for_stored(training, now_us);
    if (!training.calibration) {
        // Also of channels that are away: those have not rested when they are back.
        const auto learnt = learn(training.learning, outcome.channels_us, now_us);
        if (!learnt)
            return;
        take_calibration(training, *learnt);
    }
    if (outcome.state == State::calibrating)
        outcome.state = State::good;
    if (outcome.state == State::good)
        outcome.channels_us = calibrated(*training.calibration, outcome.channels_us);
}

} // namespace rcin
