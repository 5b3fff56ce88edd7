#include "core/statistics.h"

#include "core/clock.h"
#include "core/shared_access.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr const char* region_name = FIELDRELAYBOX_STATISTICS_NAME;
constexpr mode_t statistics_mode = 0644;

Statistics private_record{};
Statistics* record = &private_record;

// A program that still has the region of the last start keeps that one, and finds no half-made
// record in this one. Room that is not reserved could be missing at the first access, which would
// end the daemon. Returns an error number or 0.
int make_room(int descriptor) {
    if (descriptor < 0 || fchmod(descriptor, statistics_mode) != 0) // whatever the umask is
        return errno;
    return posix_fallocate(descriptor, 0, sizeof(Statistics));
}

// Null, with errno set, when there can be no region.
Statistics* make_region() {
    shm_unlink(region_name);
    const int descriptor =
        shm_open(region_name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, statistics_mode);
    void* address = MAP_FAILED;
    if (const int error = make_room(descriptor); error != 0)
        errno = error;
    else
        address =
            mmap(nullptr, sizeof(Statistics), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    const int error = errno;
    if (descriptor >= 0)
        close(descriptor);
    if (descriptor >= 0 && address == MAP_FAILED)
        shm_unlink(region_name);
    errno = error;
    return address == MAP_FAILED ? nullptr : static_cast<Statistics*>(address);
}

} // namespace

bool open_statistics() {
    Statistics* const region = make_region();
    if (region == nullptr)
        return false;
    region->version = FIELDRELAYBOX_STATISTICS_VERSION;
    region->size = sizeof(Statistics);
    region->process_id = static_cast<std::uint32_t>(getpid());
    region->started = seconds_clock();
    std::atomic_ref(region->magic).store(FIELDRELAYBOX_STATISTICS_MAGIC, std::memory_order_release);
    record = region;
    return true;
}

Statistics& statistics() {
    return *record;
}

void count_unsent(OutputCount& output) {
    count(errno == EAGAIN ? output.blocked : output.failed);
}

void take_place(PeerCount& peer, const sockaddr_in& address) {
    const std::uint32_t host = address.sin_addr.s_addr;
    const std::uint16_t port = ntohs(address.sin_port);
    if (load(peer.address) != host || load(peer.port) != port) {
        for (std::uint64_t* counter :
             {&peer.received.datagrams, &peer.received.bytes, &peer.sent.datagrams,
              &peer.sent.bytes, &peer.sent.blocked, &peer.sent.failed})
            store<std::uint64_t>(*counter, 0);
        store(peer.address, host);
        store(peer.port, port);
    }
    store<std::uint16_t>(peer.present, 1);
}

void leave_place(PeerCount& peer) {
    store<std::uint16_t>(peer.present, 0);
}

} // namespace fieldrelaybox
