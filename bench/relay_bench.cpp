// Measures the daemon's relay against a bare loop; run.sh starts it, README.md explains it.
//
//     relay_bench names                          the scenarios
//     relay_bench config SCENARIO                the daemon's configuration file for it
//     relay_bench run SCENARIO DAEMON ROUNDS     measures; exit status 1 when a limit is not met
#include "bare_relay.h"
#include "judgement.h"
#include "receivers.h"
#include "rounds.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace bench {

namespace {

// The daemon is started so many times with segments and without, in turns, so that whatever the
// machine does otherwise hits both alike.
constexpr unsigned parts = 5;

constexpr std::array paces{steady, bursts, large_bursts, sustained};
using Comparisons = std::array<Comparison, paces.size()>;

struct Bench {
    const Scenario& scenario;
    const char* program;
    unsigned rounds; // in each part
    MeasuredRelay bare;
    std::optional<MeasuredRelay> segments;
};

std::vector<Contender> contenders_of(const Bench& bench, const MeasuredRelay& daemon, bool plain,
                                     Comparison& comparison) {
    if (plain)
        return {{daemon, &comparison.plain}, {bench.bare, &comparison.plain_bare}};
    std::vector<Contender> contenders{{daemon, &comparison.daemon}, {bench.bare, &comparison.bare}};
    if (bench.segments)
        contenders.push_back({*bench.segments, &comparison.segments});
    return contenders;
}

// plain: without segments.
void run_part(const Bench& bench, unsigned part, bool plain, Comparisons& comparisons) {
    const MeasuredRelay daemon = start_daemon(bench.program, !plain);
    warm_up(daemon, bench.scenario);
    for (std::size_t i = 0; i < paces.size(); ++i) {
        const bool is_sustained = paces[i].datagrams == sustained.datagrams;
        if (!is_sustained || part == 0)
            take_turns(contenders_of(bench, daemon, plain, comparisons[i]), bench.scenario,
                       paces[i], is_sustained ? 1 : bench.rounds);
    }
    stop_daemon(daemon);
}

int run(const Scenario& scenario, const char* program, unsigned rounds) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::vector<Destination> destinations = destinations_of(scenario);
    Bench bench{scenario, program, std::max(1U, rounds / parts), start_bare_relay(destinations),
                std::nullopt};
    if (scenario.udp_clients == 0)
        bench.segments = start_segment_relay(destinations);
    keep_off_relays_processor();
    start_receivers(destinations);
    warm_up(bench.bare, scenario);
    if (bench.segments)
        warm_up(*bench.segments, scenario);
    Comparisons comparisons{};
    for (unsigned part = 0; part < parts; ++part) {
        for (const bool plain : {part % 2 == 0, part % 2 != 0})
            run_part(bench, part, plain, comparisons);
    }
    bool met = true;
    for (std::size_t i = 0; i < paces.size(); ++i)
        met &= judge(scenario, paces[i], comparisons[i]);
    return met ? 0 : 1;
}

int usage() {
    std::fprintf(stderr, "usage: relay_bench names\n"
                         "       relay_bench config SCENARIO\n"
                         "       relay_bench run SCENARIO DAEMON ROUNDS\n");
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
        return run(*scenario, arguments[3], static_cast<unsigned>(std::stoi(arguments[4])));
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
