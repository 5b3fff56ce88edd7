#include "camera/state/gimbal_attitude.h"

#include "apps/messages.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/text.h"

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>

namespace fieldrelaybox {

namespace {

// Single-precision pi / 180, as the overlays compute with it.
constexpr double radians_per_degree = 0.01745329238474369;

// Degrees per unit of each angle. The two halves of the second one's range differ in scale.
constexpr double degrees_per_a = 0.10736196319018405;
constexpr double degrees_per_negative_b = 0.10440835266821347;
constexpr double degrees_per_positive_b = 0.12968299711815562;
constexpr double degrees_per_c = 0.12244897959183675;

template<std::size_t Capacity> void print_degrees(char (&field)[Capacity], double degrees) {
    std::array<char, Capacity> text{};
    std::snprintf(text.data(), text.size(), "%1.0f", degrees);
    copy_text(field, text.data());
}

void store_angle(AttitudeAngle& angle, double degrees) {
    angle.radians = degrees * radians_per_degree;
    angle.sine = std::sin(angle.radians);
    angle.cosine = std::cos(angle.radians);
}

// Truncated toward zero; angles beyond 327 degrees keep their low 16 bits.
std::int16_t hundredths(double degrees) {
    return static_cast<std::int16_t>(static_cast<std::int32_t>(degrees * 100));
}

} // namespace

void decode_gimbal_attitude(Bytes frame) {
    const std::int16_t b = get_i16le(&frame[11]);
    const std::int16_t c = get_i16le(&frame[13]);
    const std::int16_t a = get_i16le(&frame[15]);
    const double degrees_a = a * degrees_per_a;
    const double degrees_b = b * (b < 0 ? degrees_per_negative_b : degrees_per_positive_b);
    const double degrees_c = -c * degrees_per_c;

    StatusBlock& block = status_block();
    const std::atomic_ref updating(block.attitude_updating);
    // An exchange, since no write below may come before it.
    updating.exchange(1, std::memory_order_acq_rel);
    print_degrees(block.attitude_a_text, degrees_a);
    print_degrees(block.attitude_b_text, degrees_b);
    print_degrees(block.attitude_c_text, degrees_c);
    store_angle(block.attitude_a, degrees_a);
    store_angle(block.attitude_b, degrees_b);
    store_angle(block.attitude_c, degrees_c);
    const std::uint8_t gimbal_status = frame[17] == 0 ? 1 : 0;
    store(block.gimbal_status, gimbal_status);
    updating.store(0, std::memory_order_release);

    post_status_words(RecordCode::scaled_attitude, hundredths(degrees_a), hundredths(degrees_b),
                      hundredths(degrees_c));
    post_status_words(RecordCode::raw_attitude, a, b, c);
    post_status_words(RecordCode::gimbal_status, gimbal_status, 0, 0);
}

} // namespace fieldrelaybox
