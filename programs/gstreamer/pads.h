// The pads of an element with one input and one output that takes whatever comes.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

// Declares both pads for a class of elements; called once, when the class is made.
void declare_pads(GstElementClass* elements);

// Gives an element its pads. A list goes to take_list, or buffer by buffer to take_buffer when that
// is null. What the output is called on, to push to it.
GstPad* add_pads(GstElement* element, GstPadChainFunction take_buffer,
                 GstPadChainListFunction take_list);

} // namespace gstreamer
