#include "datagram.h"

#include <cstring>

namespace bench {

namespace {

constexpr std::size_t body_size = datagram_size - sizeof(Stamp);
constexpr std::size_t phases = 251; // a prime: neighbours in number differ in every byte

constexpr auto pattern = [] {
    std::array<std::uint8_t, body_size + phases> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i % phases);
    return bytes;
}();

const std::uint8_t* body_of(std::uint32_t number) {
    return &pattern[number % phases];
}

} // namespace

void write_datagram(Datagram& datagram, const Stamp& stamp) {
    std::memcpy(datagram.data(), &stamp, sizeof stamp);
    std::memcpy(datagram.data() + sizeof stamp, body_of(stamp.number), body_size);
}

bool read_datagram(std::span<const std::uint8_t> bytes, Stamp& stamp) {
    if (bytes.size() != datagram_size)
        return false;
    std::memcpy(&stamp, bytes.data(), sizeof stamp);
    return std::memcmp(bytes.data() + sizeof stamp, body_of(stamp.number), body_size) == 0;
}

} // namespace bench
