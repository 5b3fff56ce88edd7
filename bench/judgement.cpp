#include "judgement.h"

#include "receivers.h"

#include <cstdio>

namespace bench {

namespace {

constexpr double pause_us = 5; // after each copy to a UDP client

constexpr double highest_steady_ratio = 1.10;
constexpr double highest_ratio_to_segments = 1.15;
constexpr double highest_ratio_to_plain = 1.10;

// Where nothing else is done than without segments, one is as late as the other but for what two
// measurements of the same differ by.
constexpr double highest_latency_ratio = 1.10;

void print_figures(const char* who, const Figures& figures) {
    if (figures.expected == 0)
        return;
    std::printf("  %-9s %5.2f us CPU per copy   first copy p50 %5.0f, p99 %5.0f us   last p50 "
                "%5.0f, p99 %5.0f us   lost %llu of %llu, damaged %llu, misplaced %llu\n",
                who, median(figures.cpu_us_per_copy), median(figures.first_us),
                quantile(figures.first_us, 0.99), median(figures.last_us),
                quantile(figures.last_us, 0.99),
                static_cast<unsigned long long>(figures.expected - figures.right),
                static_cast<unsigned long long>(figures.expected),
                static_cast<unsigned long long>(figures.damaged),
                static_cast<unsigned long long>(figures.misplaced));
}

// The pause of the copies that have one, spread over all copies.
double pause_per_copy_us(const Scenario& scenario) {
    return pause_us * scenario.udp_clients / static_cast<double>(destinations_of(scenario).size());
}

// Each round compared with the one beside it, so that what the machine did otherwise cancels out.
std::vector<double> cpu_ratios(const Figures& relay, const Figures& other, double pause) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < relay.cpu_us_per_copy.size(); ++i)
        ratios.push_back(relay.cpu_us_per_copy[i] / (other.cpu_us_per_copy[i] + pause));
    return ratios;
}

bool is_met(const char* what, double value, double limit) {
    const bool met = value <= limit;
    std::printf("  %-32s %5.2f, limit %.2f: %s\n", what, value, limit, met ? "met" : "NOT MET");
    return met;
}

bool judge_ratios(const char* what, const std::vector<double>& ratios, double limit) {
    std::printf("  quartiles %.2f and %.2f\n", quantile(ratios, 0.25), quantile(ratios, 0.75));
    return is_met(what, median(ratios), limit);
}

bool judge_burst_cpu(const Scenario& scenario, const Comparison& of) {
    if (scenario.burst_limit > 0) {
        const bool met = judge_ratios("CPU, daemon / bare", cpu_ratios(of.daemon, of.bare, 0),
                                      scenario.burst_limit);
        return judge_ratios("CPU, daemon / bare with segments",
                            cpu_ratios(of.daemon, of.segments, 0), highest_ratio_to_segments) &&
               met;
    }
    const double pause = pause_per_copy_us(scenario);
    const double plain = median(cpu_ratios(of.plain, of.plain_bare, pause));
    return is_met("CPU, daemon / without segments",
                  median(cpu_ratios(of.daemon, of.bare, pause)) / plain, highest_ratio_to_plain);
}

// The p99 is the median of the rounds': that of all is what the machine did in the worst of them.
bool judge_latency(const Scenario& scenario, const Pace& pace, const Comparison& of) {
    const bool same_way = scenario.udp_clients > 0 || pace.burst == 1;
    const double limit = same_way ? highest_latency_ratio : 1;
    const double first = median(of.daemon.round_p99_us) / median(of.plain.round_p99_us);
    const double last = median(of.daemon.last_us) / median(of.plain.last_us);
    const bool met = is_met("p99 of first copy / without", first, limit);
    return is_met("p50 of last copy / without", last, limit) && met;
}

bool judge_copies(const char* who, const Figures& figures) {
    const bool met =
        figures.right == figures.expected && figures.damaged == 0 && figures.misplaced == 0;
    if (!met)
        std::printf("  copies of %s NOT all right; buffers found full so far: %llu at port %d, "
                    "%llu at the receivers\n",
                    who, static_cast<unsigned long long>(drops_at_port(daemon_port)), daemon_port,
                    static_cast<unsigned long long>(receiver_drops()));
    return met;
}

} // namespace

bool judge(const Scenario& scenario, const Pace& pace, const Comparison& of) {
    std::printf("%s, %s: %zu copies of each datagram, %zu x %u datagrams\n", scenario.name.data(),
                pace.name, destinations_of(scenario).size(), of.daemon.cpu_us_per_copy.size(),
                pace.datagrams);
    print_figures("daemon", of.daemon);
    print_figures("without", of.plain);
    print_figures("bare", of.bare);
    print_figures("segments", of.segments);
    bool met = judge_copies("the daemon", of.daemon);
    met &= judge_copies("the daemon without segments", of.plain);
    if (pace.datagrams == sustained.datagrams)
        return met;
    if (pace.burst == 1)
        met &= judge_ratios("CPU, daemon / bare",
                            cpu_ratios(of.daemon, of.bare, pause_per_copy_us(scenario)),
                            highest_steady_ratio);
    else if (pace.burst == bursts.burst)
        met &= judge_burst_cpu(scenario, of);
    met &= judge_latency(scenario, pace, of);
    return met;
}

} // namespace bench
