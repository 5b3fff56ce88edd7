// Before every test, the records of a process that has just begun, whatever ran before; and the
// settings are saved to a temporary directory instead of the boot partition.
#include "apps/app_clients.h"
#include "apps/messages.h"
#include "apps/server_link.h"
#include "camera/link/camera_link.h"
#include "camera/state/camera_state.h"
#include "config/boot_mounting.h"
#include "config/boot_partition.h"
#include "config/config_record.h"
#include "core/log.h"
#include "core/log_senders.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "media/udp_clients.h"
#include "unit/shell_recorder.h"
#include "unit/test_clock.h"
#include "unit/test_data.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>

namespace {

using namespace fieldrelaybox;

class FreshStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        config_file_path = saved_file_.c_str();
        run_copy_path = run_copy_.c_str();
        boot_lock_path = boot_lock_.c_str();
        config_record() = ConfigRecord{};
        status_block() = StatusBlock{};
        std::construct_at(&camera_state());
        std::construct_at(&camera_builder_state());
        std::construct_at(&camera_link());
        std::construct_at(&log_limits());
        set_log_sender(0);
        set_message_socket(-1);
        server_settings_changed();
        clear_app_clients();
        parse_udp_clients("");
        test_clock::on_wait = nullptr;
        test_clock::take_waits();
        test_clock::begin_next_day();
        shell_recorder::on_command = nullptr;
        shell_recorder::outputs.clear();
        shell_recorder::take_commands();
        shell_recorder::take_unlimited_commands();
        threads_before_ = running_threads;
    }
    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        EXPECT_TRUE(test_data::await([this] { return running_threads == threads_before_; }));
        for (const std::string& file : {saved_file_, saved_file_ + ".bak", run_copy_, boot_lock_})
            std::filesystem::remove(file);
    }

    const std::string saved_file_ = test_data::temporary_path("saved.conf");
    const std::string run_copy_ = test_data::temporary_path("run.conf");
    const std::string boot_lock_ = test_data::temporary_path("boot.lock");
    int threads_before_ = 0;
};

// GoogleTest's own main() runs the tests and takes ownership.
[[maybe_unused]] const bool appended = [] {
    std::signal(SIGPIPE, SIG_IGN); // as the daemon does
    testing::UnitTest::GetInstance()->listeners().Append(new FreshStart);
    return true;
}();

} // namespace
