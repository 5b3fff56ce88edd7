#include "gstreamer/tracks.h"

#include "gstreamer/rounds.h"

#include <array>
#include <string>

namespace gstreamer {

namespace {

struct Format {
    const char* name; // of the property with its branch
    const char* caps;
    bool is_sound;
};

constexpr std::array formats{
    Format{"h264", "video/x-h264", false},
    Format{"video", "video/x-raw(ANY)", false},
    Format{"aac", "audio/mpeg,mpegversion=4,stream-format={raw,adts}", true},
    Format{"audio", "audio/x-raw(ANY)", true},
};

struct Tracks {
    GstBin bin; // first, as GStreamer casts between them
    GstElement* opener;
    Rounds* rounds; // null when the end is the end
    std::array<char*, formats.size()> branches;
    std::array<bool, 2> have; // a picture, a sound
    gint ended;               // how many of them have ended
    bool is_session;          // with a server that may go without a word
};

struct TracksClass {
    GstBinClass parent_class;
};

G_DEFINE_TYPE(Tracks, tracks, GST_TYPE_BIN)

enum TracksProperty : guint { property_uri = 1, property_loop, property_first_branch };

const char* branch_for(const GstCaps* caps, const Tracks* self, bool& is_sound) {
    for (std::size_t i = 0; i < formats.size(); ++i) {
        GstCaps* const wanted = gst_caps_from_string(formats[i].caps);
        const bool fits = gst_caps_can_intersect(caps, wanted) != FALSE;
        gst_caps_unref(wanted);
        is_sound = formats[i].is_sound;
        if (fits)
            return self->branches[i];
    }
    return nullptr;
}

GstCaps* caps_of(GstPad* track) {
    GstCaps* const caps = gst_pad_get_current_caps(track);
    return caps != nullptr ? caps : gst_pad_query_caps(track, nullptr);
}

bool is_sound_track(GstPad* track) {
    GstCaps* const caps = caps_of(track);
    const bool is_sound = gst_caps_is_empty(caps) == FALSE && gst_caps_is_any(caps) == FALSE &&
                          g_str_has_prefix(gst_structure_get_name(gst_caps_get_structure(caps, 0)),
                                           "audio/") != FALSE;
    gst_caps_unref(caps);
    return is_sound;
}

void add_branch(Tracks* self, GstPad* track, bool is_sound, const char* description) {
    GError* error = nullptr;
    GstElement* const branch = gst_parse_bin_from_description(description, TRUE, &error);
    if (error != nullptr) {
        GST_ELEMENT_ERROR(self, CORE, FAILED, ("%s", error->message), (nullptr));
        g_error_free(error);
    }
    if (branch == nullptr)
        return;
    gst_bin_add(&self->bin, branch);
    GstPad* const input = gst_element_get_static_pad(branch, "sink");
    if (input != nullptr && self->rounds != nullptr)
        follow_track(*self->rounds, is_sound, input);
    if (input == nullptr || GST_PAD_LINK_FAILED(gst_pad_link(track, input)))
        GST_ELEMENT_ERROR(self, CORE, PAD, ("no branch fits the track"), (nullptr));
    if (input != nullptr)
        gst_object_unref(input);
    gst_element_sync_state_with_parent(branch);
}

// Over TCP the source itself waits for ever for a server that is gone.
constexpr const char* silence_is_an_error = "watchdog timeout=2000 ! "; // milliseconds

// The opener calls this from one of its threads after the other, never from two at once.
void take_track(GstElement* /*opener*/, GstPad* track, Tracks* self) {
    if (self->rounds != nullptr && self->rounds->begin > 0) {
        if (!link_again(*self->rounds, is_sound_track(track), track))
            GST_ELEMENT_ERROR(self, CORE, PAD, ("a track is not what it was before"), (nullptr));
        return;
    }
    GstCaps* const caps = caps_of(track);
    bool is_sound = false;
    const char* const description = branch_for(caps, self, is_sound);
    gst_caps_unref(caps);
    if (description == nullptr || *description == '\0' || self->have[is_sound])
        return;
    self->have[is_sound] = true;
    const bool watched = self->is_session && !is_sound;
    add_branch(self, track, is_sound,
               ((watched ? silence_is_an_error : "") + std::string(description)).c_str());
}

bool has_property(GstElement* element, const char* name) {
    return g_object_class_find_property(G_OBJECT_GET_CLASS(element), name) != nullptr;
}

// Of RTSP, two seconds would be held back; of datagrams, a burst would not fit. A server that lost
// its power takes no leave, so its silence has to tell; `timeout` of other sources is another.
void prepare_source(GstElement* /*opener*/, GstElement* source, Tracks* self) {
    if (has_property(source, "buffer-size"))
        gst_util_set_object_arg(G_OBJECT(source), "buffer-size", "2000000"); // bytes
    if (!has_property(source, "tcp-timeout"))
        return;
    self->is_session = true;
    gst_util_set_object_arg(G_OBJECT(source), "latency", "100");         // milliseconds
    gst_util_set_object_arg(G_OBJECT(source), "timeout", "2000000");     // microseconds
    gst_util_set_object_arg(G_OBJECT(source), "tcp-timeout", "2000000"); // microseconds
}

void end_round(Tracks* self, bool again);

void set_tracks_property(GObject* object, guint number, const GValue* value, GParamSpec* /*what*/) {
    auto* const self = reinterpret_cast<Tracks*>(object);
    if (number == property_uri) {
        g_object_set_property(G_OBJECT(self->opener), "uri", value);
        return;
    }
    if (number == property_loop) {
        if (g_value_get_boolean(value) != FALSE && self->rounds == nullptr)
            self->rounds = new Rounds{.on_end = [self](bool again) { end_round(self, again); }};
        return;
    }
    char*& branch = self->branches.at(number - property_first_branch);
    g_free(branch);
    branch = g_value_dup_string(value);
}

// The bin's own way to see that all branches have ended is to play, which it can forget: it plays
// when another thread says that the URL is open, and what it notes then can overtake each other.
void take_message(GstBin* bin, GstMessage* message) {
    auto* const self = reinterpret_cast<Tracks*>(bin);
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_EOS) {
        GST_BIN_CLASS(tracks_parent_class)->handle_message(bin, message);
        return;
    }
    gst_message_unref(message);
    const int ended = g_atomic_int_add(&self->ended, 1) + 1;
    if (ended == self->have[0] + self->have[1])
        gst_element_post_message(GST_ELEMENT_CAST(bin), gst_message_new_eos(GST_OBJECT_CAST(bin)));
}

void forget(GObject* object) {
    if (Rounds* const rounds = reinterpret_cast<Tracks*>(object)->rounds) {
        forget_tracks(*rounds);
        delete rounds;
    }
    for (char* branch : reinterpret_cast<Tracks*>(object)->branches)
        g_free(branch);
    G_OBJECT_CLASS(tracks_parent_class)->finalize(object);
}

void tracks_class_init(TracksClass* made) {
    auto* const objects = reinterpret_cast<GObjectClass*>(made);
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_WRITABLE | G_PARAM_STATIC_STRINGS);
    objects->set_property = set_tracks_property;
    objects->finalize = forget;
    made->parent_class.handle_message = take_message;
    g_object_class_install_property(objects, property_uri,
                                    g_param_spec_string("uri", "URI", "What is opened", "", flags));
    g_object_class_install_property(
        objects, property_loop,
        g_param_spec_boolean("loop", "Loop", "Begins again at the end", FALSE, flags));
    for (guint i = 0; i < formats.size(); ++i)
        g_object_class_install_property(objects, property_first_branch + i,
                                        g_param_spec_string(formats.at(i).name, formats.at(i).name,
                                                            "Where such a track goes", "", flags));
    gst_element_class_set_static_metadata(
        reinterpret_cast<GstElementClass*>(made), "Sends tracks through branches", "Bin/Source",
        "Opens a URL, a branch for its picture, one for its sound", "Fieldrelaybox");
}

void open(Tracks* self) {
    self->opener = gst_element_factory_make("uridecodebin", nullptr);
    std::string all;
    for (const Format& format : formats)
        all += (all.empty() ? "" : ";") + std::string(format.caps);
    GstCaps* const caps = gst_caps_from_string(all.c_str());
    g_object_set(self->opener, "caps", caps, "expose-all-streams", FALSE, nullptr);
    gst_caps_unref(caps);
    g_signal_connect(self->opener, "pad-added", G_CALLBACK(take_track), self);
    g_signal_connect(self->opener, "source-setup", G_CALLBACK(prepare_source), self);
    gst_bin_add(&self->bin, self->opener);
}

// In a thread that is none of the opener's, which ends with it.
void open_again(GstElement* element, gpointer /*user*/) {
    auto* const self = reinterpret_cast<Tracks*>(element);
    char* uri = nullptr;
    g_object_get(self->opener, "uri", &uri, nullptr);
    gst_element_set_state(self->opener, GST_STATE_NULL);
    gst_bin_remove(&self->bin, self->opener);
    begin_round(*self->rounds);
    open(self);
    g_object_set(self->opener, "uri", uri, nullptr);
    g_free(uri);
    gst_element_sync_state_with_parent(self->opener);
}

void end_round(Tracks* self, bool again) {
    GstElement* const element = GST_ELEMENT_CAST(self);
    if (again)
        gst_element_call_async(element, open_again, nullptr, nullptr);
    else
        gst_element_post_message(element, gst_message_new_eos(GST_OBJECT_CAST(self)));
}

void tracks_init(Tracks* self) {
    open(self);
    // Whoever runs this need not wait until the URL is open.
    g_object_set(self, "async-handling", TRUE, nullptr);
}

} // namespace

GType tracks_type() {
    return tracks_get_type();
}

} // namespace gstreamer
