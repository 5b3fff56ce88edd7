#include "panel/name_lookup.h"

#include "core/log.h"
#include "core/threads.h"

#include <memory>
#include <netdb.h>
#include <sys/socket.h>

namespace panel {
namespace {

constexpr std::int64_t look_for_answer_us = 50'000;

// Of an answer, above the 32 bits of an address in network order.
constexpr std::uint64_t is_known = std::uint64_t{1} << 32;
constexpr std::uint64_t is_unknown = std::uint64_t{1} << 33;

std::uint64_t ask_for(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* first = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &first) != 0 || first == nullptr)
        return is_unknown;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(first, freeaddrinfo);
    return is_known | reinterpret_cast<const sockaddr_in*>(first->ai_addr)->sin_addr.s_addr;
}

void begin_lookup(NameLookup& lookup, std::int64_t now_us) {
    const auto answer = std::make_shared<std::atomic<std::uint64_t>>(0);
    const bool begun = fieldrelaybox::start_thread(
        "box name", [answer, host = lookup.host] { *answer = ask_for(host); });
    if (begun)
        lookup.answer = answer;
    lookup.due_us = now_us + (begun ? look_for_answer_us : repeat_lookup_us);
}

// answer: not 0.
std::optional<in_addr> take_answer(NameLookup& lookup, std::uint64_t answer) {
    lookup.answer = nullptr;
    const bool known = (answer & is_known) != 0;
    if (!known && !lookup.told_unknown)
        fieldrelaybox::log_warning("no address is known for \"%s\" yet, asking on",
                                   lookup.host.c_str());
    lookup.told_unknown = !known;
    if (!known)
        return std::nullopt;
    return in_addr{static_cast<in_addr_t>(answer & 0xFFFFFFFF)};
}

} // namespace

std::optional<in_addr> follow_lookup(NameLookup& lookup, bool wanted, std::int64_t now_us) {
    if (now_us < due_us(lookup, wanted))
        return std::nullopt;
    if (!lookup.answer) {
        begin_lookup(lookup, now_us);
        return std::nullopt;
    }
    const std::uint64_t answer = *lookup.answer;
    lookup.due_us = now_us + (answer == 0 ? look_for_answer_us : repeat_lookup_us);
    return answer == 0 ? std::nullopt : take_answer(lookup, answer);
}

std::int64_t due_us(const NameLookup& lookup, bool wanted) {
    const bool waits = lookup.answer || (wanted && !lookup.host.empty());
    return waits ? lookup.due_us : never_us;
}

} // namespace panel
