// Exposure: compensation, ISO, shutter, aperture, exposure mode, metering.
#pragma once

namespace fieldrelaybox {

// One of ev_values; other values are logged and send nothing.
void set_ev(double value);

// One of iso_steps; 0 and unknown values mean automatic.
void set_iso(int iso);

// One of shutter_texts. Another text sends the shutter frame with number 0.
void set_shutter(const char* text);

// f-number; sent as hundredths, 0..655.35.
void set_aperture(float f_number);

// "auto", "shutter", "aperture" or "manual"; other texts are logged and send nothing.
void set_image_mode(const char* mode);

// Locks or unlocks automatic exposure.
void set_exposure_lock(bool locked);

// Measures at point index (0..255) of the camera's grid, or at the centre; both end the lock.
void set_exposure_point(int index);
void set_exposure_center();

} // namespace fieldrelaybox
