#include "bare_relay.h"

#include "datagram.h"
#include "udp.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t datagram_capacity = 60'000;
constexpr int input_buffer_bytes = 600'000;
constexpr int app_buffer_bytes = 10'000'000;

struct Copy {
    int socket;
    sockaddr_in address;
    std::size_t header_size; // sent from that far before the received bytes
};

// As the daemon has it: apps share a socket, UDP clients share one, each encoder has its own.
std::vector<Copy> open_outputs(std::span<const Destination> destinations) {
    const int app_socket = open_socket(0);
    set_buffers(app_socket, app_buffer_bytes);
    const int udp_client_socket = open_socket(0);
    std::vector<Copy> copies;
    for (const Destination& destination : destinations) {
        const sockaddr_in address = loopback(destination.port);
        switch (destination.route) {
        case Route::app:
            copies.push_back({app_socket, address, app_header_size});
            break;
        case Route::udp_client:
            copies.push_back({udp_client_socket, address, 0});
            break;
        case Route::encoder:
            copies.push_back({open_socket(0), address, 0});
            break;
        }
    }
    return copies;
}

[[noreturn]] void run(std::span<const Destination> destinations) {
    const int input = open_socket(bare_relay_port);
    set_buffers(input, input_buffer_bytes);
    const std::vector<Copy> copies = open_outputs(destinations);
    std::vector<std::uint8_t> buffer(app_header_size + datagram_capacity);
    buffer[0] = 'B';
    buffer[1] = 1;
    std::uint8_t* payload = buffer.data() + app_header_size;
    while (true) {
        const ssize_t length = recv(input, payload, datagram_capacity, 0);
        if (length <= 0)
            continue;
        for (const Copy& copy : copies)
            send_to(copy.socket, payload - copy.header_size,
                    static_cast<std::size_t>(length) + copy.header_size, copy.address);
    }
}

} // namespace

pid_t start_bare_relay(std::span<const Destination> destinations) {
    const pid_t caller = getpid();
    const pid_t child = fork();
    if (child < 0)
        give_up("fork");
    if (child > 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != caller)
        _exit(1);
    run(destinations);
}

} // namespace bench
