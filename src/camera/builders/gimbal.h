// Moving the gimbal. Speeds and angles are the gimbal's own units; their low 16 bits are sent.
#pragma once

namespace fieldrelaybox {

// Announces a speed: gimbal_move sends it. (0, 0) stops the gimbal and holds it. A pair that was
// the last one already does nothing, unless it is a stop that may have been lost.
void gimbal_speed(int pan, int tilt);

// Moves the gimbal, reversed as the settings say; nothing while it is held.
void gimbal_move(int pan, int tilt);

// Sends the speed of the app's relative move again, while one is going on and the gimbal is not
// held.
void gimbal_carry_on_app_move();

// Announces and moves in one step, held or not: a live speed from an app, which ends a relative
// move. A pair that was the last one already does nothing, unless it is a stop that may have been
// lost.
void gimbal_speed_now(int pan, int tilt);

// Turns the gimbal to an angle and holds it; ends a relative move of the app.
void gimbal_set_angle(int a, int b);

// The app of the relative move with this number is gone: stops the gimbal, unless there is another
// move meanwhile.
void gimbal_abandon_app_move(int number);

// The app's absolute position: the same frame, but the gimbal is not held.
void gimbal_set_app_position(int a, int b);

// The app's relative move: remembers that one is going on until (0, 0); the RC loop carries it
// on. One given while the camera is away is lost, as every other move is.
void gimbal_move_for_app(int a, int b);

// Sends a stop once more that the camera may not have got: it was away then, or silent for a
// moment, or went away right after it. To be called every few milliseconds; costs nothing while
// there is none.
void gimbal_repeat_lost_stop();

// Stops the gimbal. Quick: locks the orientation. Otherwise recentres by two presses of a button,
// 0.1 s apart, after the buttons that are being pressed; recentres that wait there become one.
void gimbal_reset(bool quick);

} // namespace fieldrelaybox
