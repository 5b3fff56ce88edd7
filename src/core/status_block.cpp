#include "core/status_block.h"

#include "core/log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr mode_t region_mode = 0600;

StatusBlock private_block{};
StatusBlock* block = &private_block;

struct Region {
    int descriptor;
    bool created;
};

Region open_region(const char* name) {
    const int existing = shm_open(name, O_RDWR | O_CLOEXEC, 0);
    if (existing >= 0)
        return {existing, false};
    return {shm_open(name, O_RDWR | O_CREAT | O_CLOEXEC, region_mode), true};
}

void report_failure(const char* name) {
    log_error("cannot open shared memory %s: %s", name, std::strerror(errno));
}

// The size of the region, or -1.
off_t size_of(int descriptor) {
    struct stat details {};
    return fstat(descriptor, &details) == 0 ? details.st_size : -1;
}

// Maps the region. Room for what it holds is reserved first: where it is missing, an access would
// end the daemon without a word. Null, with errno set, on failure.
void* map_region(int descriptor, std::size_t size) {
    const off_t held = std::min(size_of(descriptor), static_cast<off_t>(size));
    if (const int error = posix_fallocate(descriptor, 0, held); error != 0) {
        errno = error;
        return nullptr;
    }
    void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return address == MAP_FAILED ? nullptr : address;
}

// A region shorter than one page's reach of the block would fault at the first access.
bool is_too_small(int descriptor) {
    const long page = sysconf(_SC_PAGESIZE);
    const off_t last_page_start = static_cast<off_t>(sizeof(StatusBlock) - 1) / page * page;
    return size_of(descriptor) <= last_page_start;
}

// Null, with errno set, on failure.
void* map_status_block(const Region& region) {
    const bool too_small = is_too_small(region.descriptor);
    if (too_small && !region.created)
        log_warning("shared memory %s is too small, growing it to %zu bytes",
                    FIELDRELAYBOX_STATUS_NAME, sizeof(StatusBlock));
    if (too_small && ftruncate(region.descriptor, sizeof(StatusBlock)) != 0)
        return nullptr;
    return map_region(region.descriptor, sizeof(StatusBlock));
}

} // namespace

// The descriptor stays open for the lock on it, which ends with the process, however that ends.
// Children do not inherit it.
Opening open_status_block() {
    const Region region = open_region(FIELDRELAYBOX_STATUS_NAME);
    const bool locked = region.descriptor >= 0 && flock(region.descriptor, LOCK_EX | LOCK_NB) == 0;
    if (region.descriptor >= 0 && !locked && errno == EWOULDBLOCK) {
        log_error("another fieldrelaybox is running: it has the shared memory %s",
                  FIELDRELAYBOX_STATUS_NAME);
        return Opening::in_use;
    }
    void* const address = locked ? map_status_block(region) : nullptr;
    if (address == nullptr) {
        report_failure(FIELDRELAYBOX_STATUS_NAME);
        return Opening::failed;
    }
    block = static_cast<StatusBlock*>(address);
    return Opening::done;
}

StatusBlock& status_block() {
    return *block;
}

ConfigRecord* open_config_mirror() {
    const Region region = open_region(FIELDRELAYBOX_CONFIG_NAME);
    void* address = nullptr;
    if (region.descriptor >= 0 && ftruncate(region.descriptor, sizeof(ConfigRecord)) == 0)
        address = map_region(region.descriptor, sizeof(ConfigRecord));
    if (address == nullptr)
        report_failure(FIELDRELAYBOX_CONFIG_NAME);
    if (region.descriptor >= 0)
        close(region.descriptor);
    return static_cast<ConfigRecord*>(address);
}

} // namespace fieldrelaybox
