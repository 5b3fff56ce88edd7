// Measures the daemon's relay against a bare loop; run.sh starts it, README.md explains it.
//
//     relay_bench names                          the scenarios
//     relay_bench config SCENARIO                the daemon's configuration file for it
//     relay_bench run SCENARIO DAEMON-PID ROUNDS measures; exit status 1 when a limit is not met
#include "bare_relay.h"
#include "receivers.h"
#include "rounds.h"
#include "udp.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

namespace bench {

namespace {

constexpr std::uint16_t daemon_port = 5000;
constexpr double highest_ratio = 1.15;
constexpr double pause_us = 5; // after each copy to a UDP client

void print_figures(const char* who, const Figures& figures) {
    std::printf("  %-7s %6.2f us CPU per copy   latency p50 %6.0f us, p99 %6.0f us   lost %llu of "
                "%llu, damaged %llu, misplaced %llu\n",
                who, median(figures.cpu_us_per_copy), median(figures.latency_us),
                quantile(figures.latency_us, 0.99),
                static_cast<unsigned long long>(figures.expected - figures.right),
                static_cast<unsigned long long>(figures.expected),
                static_cast<unsigned long long>(figures.damaged),
                static_cast<unsigned long long>(figures.misplaced));
}

void print_comparison(const Scenario& scenario, const Pace& pace, const Comparison& comparison) {
    std::printf("%s, %s: %zu copies of each datagram, %zu x %u datagrams\n", scenario.name.data(),
                pace.name, destinations_of(scenario).size(),
                comparison.daemon.cpu_us_per_copy.size(), pace.datagrams);
    print_figures("daemon", comparison.daemon);
    print_figures("bare", comparison.bare);
}

// The pause of the copies that have one, spread over all copies.
double pause_per_copy_us(const Scenario& scenario) {
    return pause_us * scenario.udp_clients / static_cast<double>(destinations_of(scenario).size());
}

// Each round compared with itself, so that what the machine did otherwise cancels out.
std::vector<double> cpu_ratios(const Comparison& comparison, double pause) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < comparison.daemon.cpu_us_per_copy.size(); ++i)
        ratios.push_back(comparison.daemon.cpu_us_per_copy[i] /
                         (comparison.bare.cpu_us_per_copy[i] + pause));
    return ratios;
}

bool judge_cpu(const Comparison& comparison, double pause) {
    const std::vector<double> ratios = cpu_ratios(comparison, pause);
    const bool met = median(ratios) <= highest_ratio;
    std::printf("  CPU daemon / (bare%s): median %.2f, quartiles %.2f and %.2f, limit %.2f: %s\n",
                pause > 0 ? " + pause" : "", median(ratios), quantile(ratios, 0.25),
                quantile(ratios, 0.75), highest_ratio, met ? "met" : "NOT MET");
    return met;
}

bool judge_copies(const Figures& daemon) {
    const bool met =
        daemon.right == daemon.expected && daemon.damaged == 0 && daemon.misplaced == 0;
    if (!met)
        std::printf("  copies NOT all right; buffers found full so far: %llu at port %d, %llu at "
                    "the receivers\n",
                    static_cast<unsigned long long>(drops_at_port(daemon_port)), daemon_port,
                    static_cast<unsigned long long>(receiver_drops()));
    return met;
}

int run(const Scenario& scenario, pid_t daemon_pid, unsigned rounds) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::vector<Destination> destinations = destinations_of(scenario);
    const pid_t bare_pid = start_bare_relay(destinations);
    const MeasuredRelay bare{bare_relay_port, bare_pid, bare_pid};
    const MeasuredRelay daemon{daemon_port, daemon_pid, find_thread(daemon_pid, "video")};
    start_receivers(destinations);
    warm_up(bare, scenario);
    warm_up(daemon, scenario);
    bool met = true;
    for (const Pace& pace : {steady, bursts}) {
        const Comparison comparison = compare(daemon, bare, scenario, pace, rounds);
        print_comparison(scenario, pace, comparison);
        met &= judge_cpu(comparison, pause_per_copy_us(scenario));
        met &= judge_copies(comparison.daemon);
    }
    const Comparison comparison = sustain(daemon, bare, scenario, sustained);
    print_comparison(scenario, sustained, comparison);
    met &= judge_copies(comparison.daemon);
    return met ? 0 : 1;
}

int usage() {
    std::fprintf(stderr, "usage: relay_bench names\n"
                         "       relay_bench config SCENARIO\n"
                         "       relay_bench run SCENARIO DAEMON-PID ROUNDS\n");
    return 2;
}

int main_of(std::span<char*> arguments) {
    const std::string_view verb = arguments.size() > 1 ? arguments[1] : "";
    const Scenario* scenario = arguments.size() > 2 ? find_scenario(arguments[2]) : nullptr;
    if (verb == "names") {
        std::printf("%s\n", scenario_names().c_str());
        return 0;
    }
    if (verb == "config" && scenario != nullptr) {
        std::printf("%s", configuration_of(*scenario).c_str());
        return 0;
    }
    if (verb == "run" && scenario != nullptr && arguments.size() == 5)
        return run(*scenario, std::stoi(arguments[3]),
                   static_cast<unsigned>(std::stoi(arguments[4])));
    return usage();
}

} // namespace

} // namespace bench

int main(int argument_count, char** arguments) {
    try {
        return bench::main_of(std::span(arguments, static_cast<std::size_t>(argument_count)));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "relay_bench: %s\n", error.what());
        return 2;
    }
}
