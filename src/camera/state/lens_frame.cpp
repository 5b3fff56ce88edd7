// Lens and focus, as the camera pushes them.
#include "apps/messages.h"
#include "camera/state/camera_state.h"
#include "camera/state/camera_state_frames.h"
#include "core/shared_access.h"
#include "core/status_block.h"

#include <algorithm>
#include <cmath>

namespace fieldrelaybox {

namespace {

constexpr std::uint8_t single_autofocus = 1;
constexpr std::uint8_t continuous_autofocus = 2;

// Metres to centimetres. What is not a number or too far for 16 bits is far.
std::uint16_t to_centimetres(float metres) {
    constexpr double far = 65535;
    const double centimetres = std::round(static_cast<double>(metres) * 100);
    return static_cast<std::uint16_t>(centimetres < far ? std::max(centimetres, 0.0) : far);
}

// Limited to 0..1; 0, which stands for a point never set, for what is not a number.
double to_coordinate(float value) {
    return std::isnan(value) ? 0.0 : std::clamp(static_cast<double>(value), 0.0, 1.0);
}

std::int16_t ten_thousandths(double coordinate) {
    return static_cast<std::int16_t>(std::lround(coordinate * 10000));
}

// What of a lens frame several places need.
struct Lens {
    std::uint8_t focus_mode;
    std::uint16_t range;
    std::uint16_t stroke;
    std::uint16_t distance;
    double x;
    double y;
    std::uint8_t assistant_bits;
};

Lens read_lens(Bytes payload) {
    return {.focus_mode = static_cast<std::uint8_t>(payload[0] & 3),
            .range = get_u16le(&payload[1]),
            .stroke = get_u16le(&payload[3]),
            .distance = to_centimetres(get_f32le(&payload[5])),
            .x = to_coordinate(get_f32le(&payload[13])),
            .y = to_coordinate(get_f32le(&payload[17])),
            .assistant_bits = static_cast<std::uint8_t>(payload[31] & 3)};
}

void store_lens(const Lens& lens) {
    CameraState& state = camera_state();
    state.autofocus =
        lens.focus_mode == single_autofocus || lens.focus_mode == continuous_autofocus;
    state.focus_range = lens.range;
    state.assistant_bits = lens.assistant_bits;
    StatusBlock& block = status_block();
    store(block.focus_mode, lens.focus_mode);
    store(block.focus_range, lens.range);
    store(block.focus_stroke, lens.stroke);
    store(block.focus_distance, lens.distance);
    store(block.focus_point_x, lens.x);
    store(block.focus_point_y, lens.y);
    store<std::uint8_t>(block.manual_focus_capable, lens.range > 0 ? 1 : 0);
}

} // namespace

// Payload: focus mode in bits 0-1 of byte 0, largest and current stroke u16 at 1 and 3, object
// distance f32 at 5, focus point f32 at 13 and 17, focus status in bits 0-1 of 21, assistants at
// 31, support type at 39.
void decode_lens(Bytes payload, bool post) {
    const Lens lens = read_lens(payload);
    store_lens(lens);
    if (!post)
        return;
    const StatusBlock& block = status_block();
    post_status_bytes(RecordCode::lens, {lens.focus_mode, load(block.af_unlimited),
                                         load(block.manual_focus_capable), lens.assistant_bits,
                                         static_cast<std::uint8_t>(payload[21] & 3), payload[39]});
    post_status_words(RecordCode::focus_position, static_cast<std::int16_t>(lens.range),
                      static_cast<std::int16_t>(lens.stroke),
                      static_cast<std::int16_t>(lens.distance));
    post_status_words(RecordCode::focus_point, ten_thousandths(lens.x), ten_thousandths(lens.y), 0);
}

} // namespace fieldrelaybox
