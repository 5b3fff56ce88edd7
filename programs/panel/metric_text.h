// Numbers in the text format of Prometheus. For metrics alone.
#pragma once

#include <string>
#include <string_view>

namespace panel {

// A name ends in _total when it is a counter; any other one is a gauge. help is one plain line.
struct MetricName {
    std::string_view name; // without "fieldrelaybox_"
    std::string_view help;
};

struct MetricText {
    std::string text;
    std::string_view name; // of the last line
};

// name="value", with whatever a stranger called something made harmless.
std::string metric_label(std::string_view name, std::string_view value);

// Lines of one name follow each other; the first of them tells what it is. labels: of
// metric_label, comma-separated.
void add_metric(MetricText& text, const MetricName& metric, double value,
                std::string_view labels = {});

} // namespace panel
