#include "gstreamer/pads.h"

namespace gstreamer {

namespace {

GstStaticPadTemplate input_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS_ANY);
GstStaticPadTemplate output_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS_ANY);

} // namespace

void declare_pads(GstElementClass* elements) {
    gst_element_class_add_static_pad_template(elements, &input_template);
    gst_element_class_add_static_pad_template(elements, &output_template);
}

GstPad* add_pads(GstElement* element, GstPadChainFunction take_buffer,
                 GstPadChainListFunction take_list) {
    GstPad* const input = gst_pad_new_from_static_template(&input_template, "sink");
    GstPad* const output = gst_pad_new_from_static_template(&output_template, "src");
    gst_pad_set_chain_function(input, take_buffer);
    if (take_list != nullptr)
        gst_pad_set_chain_list_function(input, take_list);
    GST_PAD_SET_PROXY_CAPS(input);
    GST_PAD_SET_PROXY_ALLOCATION(input);
    GST_PAD_SET_PROXY_CAPS(output);
    gst_element_add_pad(element, input);
    gst_element_add_pad(element, output);
    return output;
}

} // namespace gstreamer
