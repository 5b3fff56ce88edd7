#include "panel/metric_text.h"

#include "core/log_text.h"

#include <array>
#include <cstdio>
#include <initializer_list>

namespace panel {
namespace {

constexpr std::string_view metric_prefix = "fieldrelaybox_";

void add_words(std::string& text, std::initializer_list<std::string_view> words) {
    for (const std::string_view word : words)
        text += word;
}

} // namespace

std::string metric_label(std::string_view name, std::string_view value) {
    std::string label(name);
    label += "=\"";
    for (const char c : fieldrelaybox::shown_text(value)) {
        if (c == '\\' || c == '"')
            label += '\\';
        label += c;
    }
    return label + '"';
}

void add_metric(MetricText& text, const MetricName& metric, double value, std::string_view labels) {
    if (text.name != metric.name) {
        text.name = metric.name;
        const std::string_view type = metric.name.ends_with("_total") ? "counter" : "gauge";
        add_words(text.text, {"# HELP ", metric_prefix, metric.name, " ", metric.help, "\n# TYPE ",
                              metric_prefix, metric.name, " ", type, "\n"});
    }
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), "%.15g", value);
    add_words(text.text, {metric_prefix, metric.name});
    if (!labels.empty())
        add_words(text.text, {"{", labels, "}"});
    add_words(text.text, {" ", number.data(), "\n"});
}

} // namespace panel
