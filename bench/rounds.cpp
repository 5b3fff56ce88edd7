#include "rounds.h"

#include "receivers.h"
#include "udp.h"

#include <algorithm>

namespace bench {

namespace {

constexpr int warm_up_attempts = 30;
constexpr Pace single{"single", 1, 0, 1};

std::uint32_t next_segment = 1;

std::uint64_t open_count(const Scenario& scenario) {
    return static_cast<std::uint64_t>(
        std::ranges::count_if(destinations_of(scenario), &Destination::open));
}

Arrivals send_and_receive(const MeasuredRelay& relay, const Pace& pace) {
    const std::uint32_t segment = next_segment++;
    expect_segment(segment, pace.datagrams);
    send_segment(relay.port, segment, pace);
    return await_arrivals(pace.datagrams);
}

void add_microseconds(const std::vector<std::int64_t>& latencies_ns, std::vector<double>& to) {
    for (const std::int64_t latency_ns : latencies_ns) {
        if (latency_ns > 0)
            to.push_back(static_cast<double>(latency_ns) / 1000);
    }
}

} // namespace

void warm_up(const MeasuredRelay& relay, const Scenario& scenario) {
    for (int attempt = 0; attempt < warm_up_attempts; ++attempt) {
        if (send_and_receive(relay, single).copies == open_count(scenario))
            return;
    }
    give_up("a relay does not reach every receiver");
}

void measure(const Contender& contender, const Scenario& scenario, const Pace& pace) {
    Figures& figures = *contender.figures;
    const std::int64_t cpu_before = cpu_time_ns(contender.relay);
    const Arrivals arrivals = send_and_receive(contender.relay, pace);
    const auto cpu_ns = static_cast<double>(cpu_time_ns(contender.relay) - cpu_before);
    // Nobody receives a copy to a closed port, but it is sent all the same.
    const auto copies = static_cast<double>(pace.datagrams * destinations_of(scenario).size());
    figures.cpu_us_per_copy.push_back(cpu_ns / 1000 / copies);
    std::vector<double> first_us;
    add_microseconds(arrivals.first_ns, first_us);
    figures.round_p99_us.push_back(quantile(first_us, 0.99));
    figures.first_us.insert(figures.first_us.end(), first_us.begin(), first_us.end());
    add_microseconds(arrivals.last_ns, figures.last_us);
    figures.expected += pace.datagrams * open_count(scenario);
    figures.right += arrivals.copies;
    figures.damaged += arrivals.damaged;
    figures.misplaced += arrivals.misplaced;
}

void take_turns(std::span<const Contender> contenders, const Scenario& scenario, const Pace& pace,
                unsigned rounds) {
    for (unsigned round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i)
            measure(contenders[round % 2 == 0 ? i : contenders.size() - 1 - i], scenario, pace);
    }
}

double quantile(std::vector<double> values, double part) {
    if (values.empty())
        return 0;
    const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::ranges::nth_element(values, values.begin() + place);
    return values[static_cast<std::size_t>(place)];
}

double median(const std::vector<double>& values) {
    return quantile(values, 0.5);
}

} // namespace bench
