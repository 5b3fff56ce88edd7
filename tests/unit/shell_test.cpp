// The real shell and the real clock; built apart from the other unit tests, which replace them.
#include "core/clock.h"
#include "core/shell.h"

#include <chrono>
#include <csignal>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <sys/time.h>
#include <vector>

using namespace fieldrelaybox;

namespace {

std::vector<std::string> query(const char* command, std::size_t limit, int time_limit_ms,
                               int& status) {
    std::vector<std::string> lines;
    status = query_shell_command(command, limit, time_limit_ms,
                                 [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

TEST(Shell, tells_the_exit_status) {
    EXPECT_EQ(run_shell_command("true"), 0);
    EXPECT_EQ(run_shell_command("exit 7"), 7);
    EXPECT_EQ(run_shell_command("kill -9 $$"), -1);
    EXPECT_EQ(run_shell_command("ls /missing > /dev/null 2>&1"), 2);
    EXPECT_EQ(run_shell_command("./no-such-program > /dev/null 2>&1"), 127);
    EXPECT_EQ(run_shell_command("true && exit 7"), 7);
}

TEST(Shell, hands_out_lines_and_pieces) {
    int status = -1;
    EXPECT_EQ(query("printf 'ab\\nabcdefg\\n\\nlast'; exit 3", 5, 10000, status),
              (std::vector<std::string>{"ab\n", "abcde", "fg\n", "\n", "last"}));
    EXPECT_EQ(status, 3);
}

TEST(Shell, gives_up_on_a_command_that_hangs_and_on_its_children) {
    int status = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(query("echo first; sleep 30 | cat", 100, 200, status),
              std::vector<std::string>{"first\n"});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(query("echo first; exec >&-; sleep 30", 100, 200, status),
              std::vector<std::string>{"first\n"});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(run_shell_command("sleep 30 | cat", 200), -1);
    EXPECT_EQ(run_shell_command("exit 7", 10000), 7);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Shell, goes_on_waiting_for_output_when_a_signal_came) {
    struct sigaction action {}; // without SA_RESTART
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    const itimerval once{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = 50'000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &once, nullptr), 0);
    int status = -1;
    EXPECT_EQ(query("sleep 0.1; echo late", 100, 10000, status),
              std::vector<std::string>{"late\n"});
    EXPECT_EQ(status, 0);
}

TEST(Clock, milliseconds_are_those_of_the_real_time_clock) {
    const auto before = static_cast<std::uint64_t>(std::time(nullptr)) * 1000;
    const std::uint32_t now = millisecond_clock();
    EXPECT_LT(now - static_cast<std::uint32_t>(before), 2000U);
}

} // namespace
