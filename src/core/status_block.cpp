#include "core/status_block.h"

#include "core/log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
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

void* report_failure(const char* name) {
    log_error("cannot open shared memory %s: %s", name, std::strerror(errno));
    return nullptr;
}

// Maps and closes the region; null on failure.
void* map_region(const char* name, int descriptor, std::size_t size) {
    void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (address == MAP_FAILED)
        address = report_failure(name);
    close(descriptor);
    return address;
}

// A region shorter than one page's reach of the block would fault at the first access.
bool is_too_small(int descriptor) {
    struct stat details {};
    const long page = sysconf(_SC_PAGESIZE);
    const auto last_page_start = (sizeof(StatusBlock) - 1) / static_cast<unsigned long>(page) *
                                 static_cast<unsigned long>(page);
    return fstat(descriptor, &details) == 0 &&
           static_cast<unsigned long>(details.st_size) <= last_page_start;
}

} // namespace

bool open_status_block() {
    const Region region = open_region(FIELDRELAYBOX_STATUS_NAME);
    if (region.descriptor < 0)
        return report_failure(FIELDRELAYBOX_STATUS_NAME) != nullptr;
    const bool grow = !region.created && is_too_small(region.descriptor);
    if (grow)
        log_warning("shared memory %s is too small, growing it to %zu bytes",
                    FIELDRELAYBOX_STATUS_NAME, sizeof(StatusBlock));
    if ((region.created || grow) && ftruncate(region.descriptor, sizeof(StatusBlock)) != 0) {
        close(region.descriptor);
        return report_failure(FIELDRELAYBOX_STATUS_NAME) != nullptr;
    }
    void* address = map_region(FIELDRELAYBOX_STATUS_NAME, region.descriptor, sizeof(StatusBlock));
    if (address == nullptr)
        return false;
    block = static_cast<StatusBlock*>(address);
    return true;
}

StatusBlock& status_block() {
    return *block;
}

ConfigRecord* open_config_mirror() {
    const Region region = open_region(FIELDRELAYBOX_CONFIG_NAME);
    if (region.descriptor < 0 || ftruncate(region.descriptor, sizeof(ConfigRecord)) != 0) {
        if (region.descriptor >= 0)
            close(region.descriptor);
        return static_cast<ConfigRecord*>(report_failure(FIELDRELAYBOX_CONFIG_NAME));
    }
    return static_cast<ConfigRecord*>(
        map_region(FIELDRELAYBOX_CONFIG_NAME, region.descriptor, sizeof(ConfigRecord)));
}

} // namespace fieldrelaybox
