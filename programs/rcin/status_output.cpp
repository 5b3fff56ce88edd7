#include "rcin/status_output.h"

#include "core/log.h"
#include "core/shared_access.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace rcin {

namespace {

constexpr std::int64_t look_again_us = 1'000'000;
constexpr std::int64_t look_for_missing_us = 200'000;

// False, with fault set, when the region cannot be used.
bool check_region(int descriptor, struct stat& details, std::string& fault) {
    if (descriptor < 0 || fstat(descriptor, &details) != 0)
        fault = std::strerror(errno);
    else if (details.st_size < FIELDRELAYBOX_STATUS_SIZE)
        fault = "it has only " + std::to_string(details.st_size) + " bytes";
    return fault.empty();
}

bool is_mapped_one(const StatusOutput& output, const struct stat& details) {
    struct stat mapped {};
    return output.block != nullptr && fstat(output.descriptor, &mapped) == 0 &&
           mapped.st_dev == details.st_dev && mapped.st_ino == details.st_ino;
}

// Its name is gone, or another's.
bool is_left_behind(const StatusOutput& output) {
    struct stat mapped {};
    return output.block != nullptr && fstat(output.descriptor, &mapped) == 0 &&
           mapped.st_nlink == 0;
}

void unmap(StatusOutput& output) {
    if (output.block != nullptr)
        munmap(output.block, sizeof *output.block);
    if (output.descriptor >= 0)
        close(output.descriptor);
    output.block = nullptr;
    output.descriptor = -1;
}

// Takes over the descriptor. Room is reserved first: where it is missing, writing would end the
// process without a word.
void map(StatusOutput& output, int descriptor, std::string& fault) {
    output.descriptor = descriptor;
    const int error = posix_fallocate(descriptor, 0, sizeof *output.block);
    void* const address = error != 0 ? MAP_FAILED
                                     : mmap(nullptr, sizeof *output.block, PROT_READ | PROT_WRITE,
                                            MAP_SHARED, descriptor, 0);
    if (address == MAP_FAILED) {
        fault = std::strerror(error != 0 ? error : errno);
        return unmap(output);
    }
    output.block = static_cast<StatusBlock*>(address);
    output.heartbeat = fieldrelaybox::load(output.block->rc_heartbeat);
}

void tell_block_fault(StatusOutput& output, std::string fault) {
    if (fault == output.fault)
        return;
    if (fault.empty())
        fieldrelaybox::log_line("shared memory %s is there", FIELDRELAYBOX_STATUS_NAME);
    else
        fieldrelaybox::log_warning("waiting for shared memory %s: %s", FIELDRELAYBOX_STATUS_NAME,
                                   fault.c_str());
    output.fault = std::move(fault);
}

// A region that somebody cut short would end the process at the first access.
bool is_writable(StatusOutput& output) {
    struct stat details {};
    return output.block != nullptr && fstat(output.descriptor, &details) == 0 &&
           details.st_size >= FIELDRELAYBOX_STATUS_SIZE;
}

// Whoever still reads a region whose name is gone is not left with a deflected stick.
void leave(StatusOutput& output) {
    write_outcome(output, {});
    unmap(output);
}

} // namespace

StatusOutput::~StatusOutput() {
    unmap(*this);
}

void follow_status_block(StatusOutput& output, std::int64_t now_us) {
    if (now_us < output.look_due_us && !is_left_behind(output))
        return;
    std::string fault;
    struct stat details {};
    const int found = shm_open(FIELDRELAYBOX_STATUS_NAME, O_RDWR | O_CLOEXEC, 0);
    const bool usable = check_region(found, details, fault);
    if (usable && is_mapped_one(output, details)) {
        close(found);
    } else {
        leave(output);
        if (usable)
            map(output, found, fault);
        else if (found >= 0)
            close(found);
    }
    tell_block_fault(output, std::move(fault));
    output.look_due_us = now_us + (output.block != nullptr ? look_again_us : look_for_missing_us);
}

// Whoever reads the state first, and then the channels, never takes old channels for good ones.
void write_outcome(StatusOutput& output, const Outcome& outcome) {
    if (!is_writable(output))
        return;
    for (std::size_t i = 0; i < channel_count; ++i)
        fieldrelaybox::store(output.block->rc_channels[i], outcome.channels_us[i]);
    std::atomic_ref(output.block->rc_receiver_state)
        .store(static_cast<std::uint8_t>(outcome.state), std::memory_order_release);
}

void beat(StatusOutput& output) {
    if (is_writable(output))
        fieldrelaybox::store(output.block->rc_heartbeat, ++output.heartbeat);
}

} // namespace rcin
