// A file played again and again without a hole: the ends of its tracks are held back from their
// branches, and their times go on from round to round. Entered by `tracks`.
#pragma once

#include <array>
#include <functional>
#include <gst/gst.h>
#include <mutex>

namespace gstreamer {

struct Rounds;

// A track of the file, as it enters its branch.
struct RoundTrack {
    Rounds* rounds;
    GstPad* input = nullptr; // of the branch
    GstSegment segment{};    // that its times belong to
    bool begun = false;
    bool ended = true; // or not there in this round
};

struct Rounds {
    std::function<void(bool again)> on_end; // of all tracks; again: there was something to play
    std::mutex mutex{};                     // of all below; the tracks come in threads of their own
    GstClockTime begin = 0;                 // of this round
    GstClockTime end = 0;                   // of what has come so far
    std::array<RoundTrack, 2> tracks{
        {{.rounds = this}, {.rounds = this}}}; // the picture, the sound
};

// The next track enters its branch through input for the first time.
void follow_track(Rounds& rounds, bool is_sound, GstPad* input);

// A new round begins; the old one's tracks are unlinked.
void begin_round(Rounds& rounds);

// Links a track of the new round to where its like entered before, if there was one. False, when
// that fails.
bool link_again(Rounds& rounds, bool is_sound, GstPad* track);

// Lets the branches go.
void forget_tracks(Rounds& rounds);

} // namespace gstreamer
