#include "gstreamer/rounds.h"

#include <algorithm>

namespace gstreamer {

namespace {

constexpr GstClockTime picture_time = 40 * GST_MSECOND; // of one that does not say how long it is
constexpr GstClockTime shortest_round = 100 * GST_MSECOND; // else it would be a busy loop

GstClockTime placed(const RoundTrack& track, GstClockTime time) {
    guint64 running = 0;
    const int sign =
        gst_segment_to_running_time_full(&track.segment, GST_FORMAT_TIME, time, &running);
    const GstClockTime begin = track.rounds->begin;
    if (sign >= 0)
        return begin + running;
    return begin - std::min<guint64>(begin, running);
}

GstBuffer* placed(const RoundTrack& track, GstBuffer* data) {
    data = gst_buffer_make_writable(data);
    const GstClockTime shown = GST_BUFFER_PTS(data);
    const GstClockTime decoded = GST_BUFFER_DTS(data);
    if (GST_CLOCK_TIME_IS_VALID(shown))
        GST_BUFFER_PTS(data) = placed(track, shown);
    if (GST_CLOCK_TIME_IS_VALID(decoded))
        GST_BUFFER_DTS(data) = placed(track, decoded);
    if (!GST_CLOCK_TIME_IS_VALID(shown))
        return data;
    const GstClockTime lasts = GST_BUFFER_DURATION(data);
    GstClockTime& end = track.rounds->end;
    end = std::max(end, GST_BUFFER_PTS(data) +
                            (GST_CLOCK_TIME_IS_VALID(lasts) && lasts > 0 ? lasts : picture_time));
    return data;
}

// The branch gets one segment for all rounds.
GstPadProbeReturn take_segment(RoundTrack& track, GstPadProbeInfo* info) {
    GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
    gst_event_copy_segment(event, &track.segment);
    if (track.begun)
        return GST_PAD_PROBE_DROP;
    GstSegment whole;
    gst_segment_init(&whole, GST_FORMAT_TIME);
    info->data = gst_event_new_segment(&whole);
    gst_event_unref(event);
    track.begun = true;
    return GST_PAD_PROBE_OK;
}

GstPadProbeReturn take_end(RoundTrack& track, std::unique_lock<std::mutex>& lock) {
    Rounds& rounds = *track.rounds;
    track.ended = true;
    if (!std::ranges::all_of(rounds.tracks, &RoundTrack::ended))
        return GST_PAD_PROBE_DROP;
    const bool again = rounds.end >= rounds.begin + shortest_round;
    lock.unlock();
    rounds.on_end(again);
    return GST_PAD_PROBE_DROP;
}

GstPadProbeReturn take_data(GstPad* /*input*/, GstPadProbeInfo* info, gpointer user) {
    RoundTrack& track = *static_cast<RoundTrack*>(user);
    std::unique_lock lock(track.rounds->mutex);
    if ((info->type & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
        info->data = placed(track, GST_PAD_PROBE_INFO_BUFFER(info));
        return GST_PAD_PROBE_OK;
    }
    switch (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info))) {
    case GST_EVENT_SEGMENT:
        return take_segment(track, info);
    case GST_EVENT_EOS:
        return take_end(track, lock);
    case GST_EVENT_STREAM_START:
        return track.begun ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
    case GST_EVENT_GAP: // its times are of this round
        return GST_PAD_PROBE_DROP;
    default:
        return GST_PAD_PROBE_OK;
    }
}

} // namespace

void follow_track(Rounds& rounds, bool is_sound, GstPad* input) {
    const std::scoped_lock lock(rounds.mutex);
    RoundTrack& track = rounds.tracks.at(is_sound);
    track.input = GST_PAD_CAST(gst_object_ref(input));
    track.ended = false;
    gst_pad_add_probe(input,
                      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
                      take_data, &track, nullptr);
}

void begin_round(Rounds& rounds) {
    const std::scoped_lock lock(rounds.mutex);
    rounds.begin = rounds.end;
}

bool link_again(Rounds& rounds, bool is_sound, GstPad* track) {
    GstPad* input = nullptr;
    {
        const std::scoped_lock lock(rounds.mutex);
        input = rounds.tracks.at(is_sound).input;
        if (input == nullptr || gst_pad_is_linked(input))
            return true;
        rounds.tracks.at(is_sound).ended = false;
    }
    return GST_PAD_LINK_SUCCESSFUL(gst_pad_link(track, input));
}

void forget_tracks(Rounds& rounds) {
    for (RoundTrack& track : rounds.tracks)
        gst_clear_object(&track.input);
}

} // namespace gstreamer
