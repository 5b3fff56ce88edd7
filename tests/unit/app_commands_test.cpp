// The app commands from the JSON text to the record, the file, the report, the mirror and the
// commands that run.
#include "camera/gimbal_attitude.h"
#include "camera/telemetry_receiver.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/config_report.h"
#include "control/app_clients.h"
#include "control/app_commands.h"
#include "control/command_polling.h"
#include "control/control_server.h"
#include "control/link_state_record.h"
#include "control/messages.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/status_block.h"
#include "core/supervisor.h"
#include "core/text.h"
#include "unit/config_data.h"
#include "unit/shell_recorder.h"

#include <future>
#include <set>
#include <sstream>
#include <thread>

using namespace fieldrelaybox;
using namespace test_data;
using Lines = std::vector<std::string>;

namespace {

const Lines save_commands{
    "mount -o rw,remount /boot", "umount /boot", "mount /boot",
    R"(cat /boot/fieldrelaybox.conf | sed 's/\r$//' > /run/fieldrelaybox.conf)"};

void dispatch(const std::string& command) {
    dispatch_app_command(command.c_str(), command.size());
}

std::string live_report() {
    ConfigRecord record{};
    copy_config_record(record);
    return build_configuration_report(record, "");
}

Lines lines_of(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

Lines text_list(const cJSON* object, const char* name) {
    Lines lines;
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, member(object, name)) lines.emplace_back(entry->valuestring);
    return lines;
}

// A box that was started with every_key.conf and saves to a file of the test's own.
class AppCommands : public testing::Test {
protected:
    void SetUp() override {
        config_record() = ConfigRecord{};
        set_defaults_before_loading(config_record());
        ASSERT_TRUE(load_config_file(TEST_DATA_DIR "/every_key.conf", config_record()));
        set_defaults_after_loading(config_record());
        copy_text(config_record().version, "0.20.2");
        path_ = temporary_path("master");
        config_file_path = path_.c_str();
        save_config_file();
        shell_recorder::take_commands();
    }
    void TearDown() override {
        shell_recorder::on_command = nullptr;
        shell_recorder::outputs.clear();
        std::filesystem::remove(path_);
    }
    std::string saved_file() const { return read_file(path_); }

    std::string path_;
};

// Puts line in the place of the line with the same key; all others stay.
std::string with_line(const std::string& file, const std::string& line) {
    const std::string key = '\n' + line.substr(0, line.find('=') + 1);
    const std::size_t start = file.find(key) + 1;
    EXPECT_GT(start, 0U) << line;
    return file.substr(0, start) + line + file.substr(file.find('\r', start));
}

std::uint8_t* block_bytes() {
    return reinterpret_cast<std::uint8_t*>(&status_block());
}

void check_mirror(const cJSON* item, std::span<const std::uint8_t> at_save, bool saved) {
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, member(item, "mirror")) {
        const auto offset = static_cast<std::size_t>(std::stoi(entry->string));
        EXPECT_EQ(block_bytes()[offset], entry->valueint) << offset;
        const bool rc_state = offset == offsetof(StatusBlock, rc_receiver_state);
        // The mirror comes before the save, the RC state after the commands.
        EXPECT_TRUE(!saved || at_save[offset] == (rc_state ? 6 : entry->valueint)) << offset;
    }
}

void check_record(const cJSON* item) {
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, member(item, "record")) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&config_record());
        const std::uint8_t* field = bytes + number(entry, "offset");
        const bool is_byte = member(entry, "u8") != nullptr;
        EXPECT_EQ(is_byte ? *field : static_cast<int>(get_u32le(field)),
                  number(entry, is_byte ? "u8" : "i32"));
    }
}

// Standard error and standard output are told apart; "log" has both, in order.
void check_log(const cJSON* item, const std::string& output, const std::string& errors) {
    const Lines on_output = text_list(item, "stdout");
    EXPECT_EQ(lines_of(output), on_output);
    Lines expected = text_list(item, "log");
    for (const std::string& line : on_output)
        expected.erase(std::find(expected.begin(), expected.end(), line));
    Lines logged = lines_of(errors);
    // Warnings of lists and lines that are longer than what is used of them.
    std::erase_if(logged, [](const std::string& line) {
        return line.starts_with("setting ") || line.starts_with("UDP client ");
    });
    if (text(item, "name") == "rcin_mode, cut")
        expected.emplace_back("Set RC1 mode abcde, RC2 mode sbus-");
    EXPECT_EQ(logged, expected);
}

void run_item(const cJSON* item, const std::string& path) {
    std::string file = read_file(path);
    const cJSON* entry = nullptr;
    if (text(item, "name") != "camera other") // keeps what is there
        cJSON_ArrayForEach(entry, member(item, "mirror")) block_bytes()[std::stoi(entry->string)] ^=
            1;
    status_block().rc_receiver_state = 6;
    ByteVector at_save(sizeof(StatusBlock));
    shell_recorder::on_command = [&](const std::string& command) {
        if (command == save_commands[0])
            std::copy_n(block_bytes(), at_save.size(), at_save.begin());
    };
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    dispatch(text(item, "send"));
    check_log(item, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr());

    const bool saved = cJSON_IsTrue(member(item, "saved")) != 0;
    Lines commands = saved ? save_commands : Lines{};
    for (const std::string& command : text_list(item, "runs"))
        commands.push_back(command);
    EXPECT_EQ(shell_recorder::take_commands(), commands);
    // All others run while somebody waits for the next save or the next command.
    for (const std::string& command : shell_recorder::take_unlimited_commands())
        EXPECT_TRUE(command == "reboot" || command == "shutdown") << command;
    for (const std::string& line : text_list(item, "file_line"))
        file = with_line(file, line);
    EXPECT_EQ(read_file(path), file);
    for (const std::string& report_member : text_list(item, "report"))
        EXPECT_NE(live_report().find(report_member), std::string::npos) << report_member;
    check_mirror(item, at_save, saved);
    check_record(item);
}

TEST_F(AppCommands, every_parameter_makes_the_full_circle) {
    const Json items = load_json("app_update_circle.json");
    bool end_checked = false;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, items.get()) {
        SCOPED_TRACE(text(item, "name") + ' ' + text(item, "send").substr(0, 100));
        if (text(item, "via") == "direct" && !end_checked) {
            end_checked = true;
            EXPECT_EQ(saved_file(), read_data("app_update_circle.saved.conf"));
            EXPECT_EQ(hex_of(config_record()), read_hex("app_update_circle.record.hex"));
            EXPECT_EQ(live_report(), read_data("app_update_circle.report.json"));
            ConfigRecord reloaded{};
            load_config_file(path_.c_str(), reloaded);
            EXPECT_EQ(format_config_file(reloaded), saved_file());
        }
        run_item(item, path_);
    }
    EXPECT_TRUE(end_checked);
}

TEST_F(AppCommands, unknown_interface_codes_leave_the_interface_alone) {
    dispatch(R"({"cmd":"updateparam","name":"wifi","value":"3","value4":"","value7":"11"})");
    EXPECT_EQ(text_of(config_record().camera_iface), "wlan1");
    EXPECT_EQ(text_of(config_record().wifi_iface), "wlan0");
    EXPECT_EQ(text_of(config_record().ap_iface), "wifi0");
}

TEST_F(AppCommands, garbage_changes_nothing) {
    const std::string before = hex_of(config_record());
    shell_recorder::take_commands();
    const std::string deep(200'000, '[');
    const std::string deep_objects = [] {
        std::string objects;
        for (int i = 0; i < 20'000; ++i)
            objects += R"({"cmd":)";
        return objects;
    }();
    for (const std::string& garbage :
         {std::string(), std::string("{"), std::string("[\"cmd\",\"reboot\"]"), deep, deep_objects,
          std::string("\"reboot\""), std::string("null"), std::string(300, '\xFF'),
          std::string(R"({"cmd":["reboot"]})"), std::string(R"({"cmd":null,"name":{}})"),
          std::string(R"({"cmd":"reboot)"), std::string("{\"cmd\":\"re\0boot\"}", 17),
          std::string(R"({"cmd":"wlan","param":"scan"})"),
          std::string(R"({"cmd":"wlan","param":"scan","value":"0"})"),
          std::string(R"({"cmd":"wlan","param":"scan","value":"1;reboot"})")})
        dispatch(garbage);
    EXPECT_EQ(hex_of(config_record()), before);
    EXPECT_EQ(shell_recorder::take_commands(), Lines{});
    dispatch(R"({"cmd":"updateparam","name":"audio_volume","value":77})"); // no text: empty
    EXPECT_EQ(config_record().audio_volume, 0);
}

TEST_F(AppCommands, restart_ends_the_process_at_once) {
    EXPECT_EXIT(dispatch(R"({"cmd":"restart"})"), testing::ExitedWithCode(3), "");
}

// The save under way ends; those that wait their turn do not begin.
TEST_F(AppCommands, restart_waits_for_one_save_only) {
    const auto change = [](const char* port) {
        dispatch(R"({"cmd":"updateparam","name":"tcp_port","value":")" + std::string(port) +
                 R"("})");
    };
    const auto restart_among_savers = [&] {
        std::promise<void> saving;
        std::promise<void> stopping;
        shell_recorder::on_command = [&, saves = 0](const std::string& command) mutable {
            if (command != save_commands[0])
                return;
            if (++saves > 1)
                _exit(99);
            saving.set_value();
            stopping.get_future().wait();
        };
        std::vector<std::thread> savers;
        savers.emplace_back(change, "7001");
        saving.get_future().wait();
        savers.emplace_back(change, "7002");
        stop_saving(0); // gives up at once
        savers.emplace_back(change, "7003");
        stopping.set_value();
        for (std::thread& saver : savers)
            saver.join();
        dispatch(R"({"cmd":"restart"})");
    };
    EXPECT_EXIT(restart_among_savers(), testing::ExitedWithCode(3), "still under way");
    EXPECT_NE(saved_file().find("tcp_port=7001\r\n"), std::string::npos);
}

// Two apps change settings at full speed: no change is lost, every file is whole, and the last
// command that ran belongs to the last change.
TEST_F(AppCommands, two_at_once_lose_nothing) {
    constexpr int rounds = 200;
    std::size_t whole_size = saved_file().size();
    shell_recorder::on_command = [&](const std::string& command) {
        if (command == "umount /boot") {
            const std::string file = saved_file();
            EXPECT_TRUE(file.ends_with("\"\r\n\r\n") && file.size() + 20 > whole_size);
        }
    };
    const auto change = [](const std::string& own_parameter, int first) {
        for (int i = 0; i <= rounds; ++i) {
            dispatch(R"({"cmd":"updateparam","name":")" + own_parameter + R"(","value":")" +
                     std::to_string(i) + R"("})");
            dispatch(R"({"cmd":"updateparam","name":"audio_volume","value":")" +
                     std::to_string(first + i) + R"("})");
        }
    };
    testing::internal::CaptureStdout();
    std::thread other(change, "tcp_port", 1000);
    change("rcin_pan", 5000);
    other.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(config_record().tcp_port, rounds);
    EXPECT_EQ(config_record().rc_input_speed_pan, rounds);
    ConfigRecord reloaded{};
    load_config_file(path_.c_str(), reloaded);
    EXPECT_EQ(format_config_file(reloaded), format_config_file(config_record()));
    Lines commands = shell_recorder::take_commands();
    EXPECT_EQ(std::count(commands.begin(), commands.end(), save_commands[0]), 4 * (rounds + 1));
    std::erase_if(commands, [](const std::string& command) {
        return command.find("audio-volume") == std::string::npos;
    });
    ASSERT_EQ(commands.size(), 2U * (rounds + 1));
    EXPECT_EQ(commands.back(), "./scripts/audio-volume.sh " +
                                   std::to_string(config_record().audio_volume) + " >> /dev/null");
}

// --- What the apps and the sibling programs see ---

class AppReplies : public AppCommands {
protected:
    void SetUp() override {
        AppCommands::SetUp();
        clear_app_clients();
        set_message_socket(socket_);
        add_app_client(endpoint_of(app_.address()), true, 0);
    }
    void TearDown() override {
        set_message_socket(-1);
        close(socket_);
        clear_app_clients();
        AppCommands::TearDown();
    }
    // The payloads of the messages that have arrived, as text.
    Lines payloads() const {
        Lines result;
        for (const std::string& message : app_.take()) {
            const ByteVector bytes = from_hex(message);
            EXPECT_EQ(to_hex(Bytes(bytes).first(4)), "42000000");
            result.emplace_back(bytes.begin() + message_header_size, bytes.end());
        }
        return result;
    }

    int socket_ = open_udp_socket();
    Receiver app_;
};

TEST_F(AppReplies, the_report_goes_to_the_apps) {
    dispatch(R"({"cmd":"configrequest"})");
    const Lines reports = payloads();
    ASSERT_EQ(reports.size(), 1U);
    const Json report(cJSON_Parse(reports[0].c_str()), cJSON_Delete);
    EXPECT_EQ(text(report.get(), "s6"), "box-000123");
    EXPECT_EQ(cJSON_GetArraySize(report.get()), 57);
}

TEST_F(AppReplies, a_scan_is_answered_and_never_cut_inside_a_name) {
    const std::string command = "iwlist wlan0 scan 2>/dev/null";
    shell_recorder::outputs[command] =
        "  Cell 01\n    ESSID:\"one\"\n    ESSID:\"\"\n ESSID:\"t\"o\"\n"
        "ESSID:\nESSID:\"\nESSID:\"last\"";
    dispatch(R"({"cmd":"wlan","param":"scan","value":"2"})");
    EXPECT_EQ(payloads(), Lines{R"({"cmd":"wlanscan","param":"2","value":"one,,t"o,last"})"});

    std::string many;
    for (int i = 0; i < 700; ++i)
        many += "ESSID:\"" + std::string(99, static_cast<char>('a' + i % 26)) + "\"\n";
    shell_recorder::outputs[command] = many;
    dispatch(R"({"cmd":"wlan","param":"scan","value":"2"})");
    const Lines replies = payloads();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_LE(replies[0].size(), 60'000U);
    EXPECT_GT(replies[0].size(), 59'900U);
    EXPECT_EQ((replies[0].size() - 41 + 1) % 100, 0U); // whole names of 99 and their commas
}

TEST_F(AppReplies, the_command_field_is_served_and_cleared) {
    auto& field = status_block().command_field;
    std::string command = R"({"cmd":"rc","name":"showchannels","value":"1")";
    command.resize(sizeof field - 1, ' ');
    command += '}'; // fills the field without a NUL
    for (const std::string& content : {command, std::string(sizeof field, '['), std::string()}) {
        status_block().show_channels = content == command ? 0 : 1;
        std::copy(content.begin(), content.end(), field);
        serve_command_field();
        EXPECT_EQ(status_block().show_channels, 1);
        EXPECT_TRUE(std::all_of(field, field + sizeof field, [](char c) { return c == '\0'; }));
    }
}

TEST_F(AppReplies, a_command_that_fails_leaves_the_command_field_all_the_same) {
    auto& field = status_block().command_field;
    constexpr std::string_view reboot = R"({"cmd":"reboot"})";
    std::copy(reboot.begin(), reboot.end(), field);
    shell_recorder::on_command = [](const std::string&) { throw std::bad_alloc(); };
    EXPECT_NO_THROW(serve_command_field());
    EXPECT_EQ(field[0], '\0');
}

TEST_F(AppReplies, the_examples_of_the_documents_are_what_arrives) {
    const Receiver other;
    const std::string registration = "4200000000000000000000000001";
    expect_documented(registration);
    handle_app_datagram(from_hex(registration), other.address());
    EXPECT_EQ(other.take(), Lines{"42"});
    post_status_bytes(11, {0, 20, 2});
    expect_documented(other.take().at(0).replace(8, 8, 8, '0')); // the first message is number 0

    add_app_client(endpoint_of(app_.address()), true, millisecond_clock());
    config_record().server_enabled = 0;
    StatusBlock& block = status_block();
    block.camera_flag_1881 = block.camera_flag_1882 = block.af_unlimited = 0;
    block.rc_receiver_state = 6;
    post_link_state(MonitoredLink::video, LinkState::connected);
    Supervisor supervisor{.pass_count = 1}; // no probe
    run_supervisor_pass(supervisor);
    decode_gimbal_attitude(from_hex("5519040000000000000000640031009cff000000000000000000"));
    const Json data = load_json("camera_state.json");
    const cJSON* item = nullptr;
    const std::set<std::string> examples{
        "state 49: photo mode, idle, card fine", "battery: discharging", "playback: several, DNG",
        "lens 59: distance infinite: far",       "histogram: rising",    "shooting 85: usual"};
    cJSON_ArrayForEach(item, member(data.get(), "vectors")) {
        if (examples.contains(text(item, "name")))
            decode_camera_frame(from_hex(text(item, "frame")), 3'000'000'000);
    }
    std::fill(std::begin(block.rc_channels), std::end(block.rc_channels), std::uint16_t{1500});
    std::uint32_t last_report = 0;
    report_rc_channels(301, last_report);
    std::set<std::string> codes; // code 5 of the pass comes second and hangs on other tests
    for (const std::string& message : app_.take()) {
        const std::string payload = message.substr(2 * message_header_size);
        if (codes.insert(payload.substr(0, 2)).second || !payload.starts_with("05"))
            expect_documented(payload);
    }
    EXPECT_EQ(codes.size(), 16U); // 0 to 13, 15, 16
}

TEST_F(AppReplies, rc_channels_are_reported_every_300_ms) {
    status_block().rc_receiver_state = 6;
    status_block().rc_channels[0] = 1500;
    status_block().rc_channels[31] = 0xFEDC;
    std::uint32_t last = 0xFFFFFF00;
    report_rc_channels(last + 300, last);
    EXPECT_TRUE(payloads().empty());
    report_rc_channels(last + 301, last);
    const Lines records = payloads();
    ASSERT_EQ(records.size(), 1U);
    const ByteVector record(records[0].begin(), records[0].end());
    EXPECT_EQ(to_hex(record), "0f0620dc05" + std::string(120, '0') + "dcfe");
    EXPECT_EQ(last, 0xFFFFFF00 + 301);
    config_record().rc_input_enabled = 0;
    report_rc_channels(last + 1000, last);
    EXPECT_TRUE(payloads().empty());
}

} // namespace
