// The networks of the settings: what is refused, what is written for NetworkManager and hostapd,
// what is done, and when a change needs a trial.
#include "config/config_record.h"
#include "network/files.h"
#include "network/plan.h"
#include "network/regulations.h"
#include "network/trial.h"
#include "network/wishes.h"

#include <gtest/gtest.h>
#include <map>

using namespace network;

namespace {

std::string big_endian(std::uint32_t number, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i)
        text += static_cast<char>(number >> (8 * i) & 0xFF);
    return text;
}

std::string rule(std::uint8_t flags, std::uint32_t start_mhz, std::uint32_t end_mhz) {
    return big_endian(16, 1) + big_endian(flags, 1) + big_endian(2000, 2) +
           big_endian(start_mhz * 1000, 4) + big_endian(end_mhz * 1000, 4) + big_endian(40'000, 4);
}

// "00" has 2.4 GHz up to channel 11, the rest of it for listeners only; "JP" 5 GHz, above with
// radar.
std::string database() {
    constexpr std::uint8_t no_radiation = 8;
    constexpr std::uint8_t radar = 4;
    const std::string countries =
        "00" + big_endian(5, 2) + "JP" + big_endian(7, 2) + std::string(4, '\0');
    const auto collection = [](std::uint32_t first, std::uint32_t second) {
        return big_endian(3, 1) + big_endian(2, 1) + std::string(2, '\0') + big_endian(first, 2) +
               big_endian(second, 2);
    };
    return "RGDB" + big_endian(20, 4) + countries + collection(9, 13) + collection(17, 21) +
           rule(0, 2402, 2472) + rule(no_radiation, 2457, 2482) + rule(0, 5170, 5190) +
           rule(radar, 5190, 5250);
}

Wishes wishes_with(const Wifi& camera, const AccessPoint& access_point) {
    return {.camera = camera, .home = {}, .access_point = access_point};
}

const Wifi camera{"wlan0", "camera", "12345678"};
const AccessPoint on_wlan1{{"wlan1", "box", "12345678"}, 2, 6, "00"};

std::string fault(const Wishes& wishes, const std::string& regulations = database()) {
    const auto radio_of = [](const std::string& name) { return name == "wlan0" ? "phy0" : "phy1"; };
    return fault_of(wishes, {radio_of, regulations});
}

TEST(Network, what_the_country_forbids_is_refused) {
    struct Case {
        int band, channel;
        const char* country;
        const char* words; // of the fault
    };
    for (const auto& [band, channel, country, words] : std::initializer_list<Case>{
             {2, 11, "00", ""},
             {2, 12, "00", "channel 12 is not allowed everywhere"},
             {5, 36, "JP", ""},
             {5, 40, "JP", "channel 40 is not allowed to an access point in JP"},
             {2, 6, "JP", "channel 6 is not allowed to an access point in JP"},
             {2, 6, "US", "ap_country US is not among the countries"},
             {2, 6, "us", "is no country"},
             {2, 36, "00", "ap_channel 36 is none of 2.4 GHz"},
             {5, 38, "JP", "ap_channel 38 is none of 5 GHz"},
             {0, 6, "00", "ap_mode is 0"}}) {
        AccessPoint wanted{{"wlan1", "box", ""}, band, channel, country};
        const std::string told = fault(wishes_with(camera, wanted));
        EXPECT_EQ(told.empty(), *words == '\0') << told;
        EXPECT_NE(told.find(words), std::string::npos) << told;
    }
    const Wishes anywhere = wishes_with(camera, {{"wlan1", "box", ""}, 5, 36, "US"});
    EXPECT_EQ(fault(anywhere, ""), "");
    const std::string whole = database();
    for (std::size_t size = 0; size < whole.size();
         ++size) // a file that is cut short grants nothing
        EXPECT_NE(permission_of(std::string_view(whole).substr(0, size), "JP", 5200),
                  Permission::granted);
}

TEST(Network, wishes_that_cannot_be_are_refused) {
    const auto faulty = [](Wifi wifi) { return fault(wishes_with(wifi, on_wlan1)); };
    EXPECT_EQ(faulty(camera), "");
    EXPECT_EQ(faulty({"wlan0", std::string(32, 'x'), ""}), "");
    EXPECT_EQ(faulty({"wlan0", "x", std::string(64, 'f')}), "");
    EXPECT_EQ(faulty({"wlan0", "x", "zw\xC3\xB6lf \\\"#"}), "");
    for (const Wifi& wifi :
         {Wifi{"wlan0", std::string(33, 'x'), ""}, Wifi{"wlan0", "x", "1234567"},
          Wifi{"wlan0", "x", std::string(64, 'x')}, Wifi{"wlan0", "x", std::string(65, 'f')},
          Wifi{"wlan0", "x", "bytes \xC3 not"}, Wifi{"wl an", "x", ""}})
        EXPECT_NE(faulty(wifi), "") << wifi.name << wifi.phrase;
    EXPECT_EQ(faulty({"wlan1", "x", ""}),
              "camera_iface and ap_iface are both wlan1; each network needs a radio of its own");
    EXPECT_EQ(
        faulty({"uap0", "x", ""}),
        "camera_iface and ap_iface are of one radio (phy1); each network needs one of its own");
}

TEST(Network, odd_names_and_phrases_reach_their_readers) {
    const Wifi odd{"wlan0", "\xC3\xA9;# '", R"( a;b\c#'d )"};
    const std::string connection = camera_files(odd).front().text;
    EXPECT_NE(connection.find("\nssid=195;169;59;35;32;39;\n"), std::string::npos) << connection;
    EXPECT_NE(connection.find("\npsk=\\sa;b\\\\c#'d\\s\n"), std::string::npos) << connection;
    EXPECT_NE(connection.find("\nnever-default=true\nignore-auto-dns=true\n"), std::string::npos);
    EXPECT_EQ(home_files(odd).front().text.find("never-default"), std::string::npos);
    const std::string access_point = access_point_files(AccessPoint{odd, 5, 36, "US"}).front().text;
    EXPECT_NE(access_point.find("\nssid2=C3A93B232027\n"), std::string::npos) << access_point;
    EXPECT_NE(access_point.find("\nwpa_passphrase= a;b\\c#'d \n"), std::string::npos);
    EXPECT_NE(access_point.find("\nhw_mode=a\nchannel=36\n"), std::string::npos);
    const std::string key(64, 'f');
    EXPECT_NE(access_point_files(AccessPoint{{"w", "x", key}, 2, 1, "00"})
                  .front()
                  .text.find("\nwpa_psk=" + key + '\n'),
              std::string::npos);
    const std::string open =
        access_point_files(AccessPoint{{"w", "x", ""}, 2, 1, "00"}).front().text;
    EXPECT_EQ(open.find("wpa"), std::string::npos) << open;
    EXPECT_EQ(open.find("country"), std::string::npos) << open;
}

TEST(Network, names_may_be_written_as_scans_tell_them) {
    const auto name_of = [](std::string_view told) {
        ConfigRecord settings{};
        fieldrelaybox::store_text(settings.wifi_iface, "wlan0");
        fieldrelaybox::store_text(settings.wifi_ssid, told);
        return wishes_of(settings).home->name;
    };
    EXPECT_EQ(name_of(R"(Caf\xC3\xa9 \x5Cx41 \x22)"), "Caf\xC3\xA9 \\x41 \"");
    EXPECT_EQ(name_of(R"(\the \x4 \x-1 \xC)"), R"(\the \x4 \x-1 \xC)");
}

// A box whose files are what the steps so far made them; commands are only told.
struct Site {
    std::map<std::string, std::string> files;

    std::string make(const Wishes& wishes) {
        std::string commands;
        for (const Step& step : plan_of(wishes, [&](const auto& path) { return files[path]; })) {
            if (step.kind == Step::Kind::write)
                files[step.text] = step.content;
            else if (step.kind == Step::Kind::remove)
                files.erase(step.text);
            else
                commands += step.text + '\n';
        }
        return commands;
    }
};

TEST(Network, only_what_changed_is_made_anew) {
    Site site;
    Wishes wishes = wishes_with(camera, on_wlan1);
    const std::string first = site.make(wishes);
    EXPECT_NE(first.find("restart fieldrelaybox-access-point"), std::string::npos) << first;
    EXPECT_LT(first.find("reload"), first.find("restart fieldrelaybox-access-point")) << first;
    EXPECT_EQ(site.make(wishes), "");
    wishes.camera->phrase = "another one";
    const std::string camera_only = site.make(wishes);
    EXPECT_NE(camera_only.find("nmcli connection delete uuid " + std::string(camera_uuid)),
              std::string::npos);
    EXPECT_NE(camera_only.find("nmcli connection load"), std::string::npos);
    EXPECT_EQ(camera_only.find("access-point"), std::string::npos) << camera_only;
    wishes.home = Wifi{"wlan1", "home", ""};
    wishes.access_point.reset();
    const std::string moved = site.make(wishes);
    EXPECT_LT(moved.find("systemctl stop fieldrelaybox-access-point.service"),
              moved.find("reload"));
    EXPECT_LT(moved.find("reload"), moved.find("nmcli connection load")) << moved;
    EXPECT_EQ(moved.find(camera_uuid), std::string::npos) << moved;
    site.make({});
    EXPECT_TRUE(
        std::ranges::all_of(site.files, [](const auto& file) { return file.second.empty(); }));
}

TEST(Network, a_change_of_the_only_way_in_is_tried_out) {
    const auto takes_the_way_in = [](const Wishes& accepted, const Wishes& wanted,
                                     const std::vector<std::string>& answering) {
        return touches_way_in(accepted, wanted, answering) &&
               !has_other_way(accepted, wanted, answering);
    };
    const Wishes nothing{};
    const Wishes with_camera{camera, {}, {}};
    const Wishes at_home{{}, Wifi{"wlan0", "home", ""}, {}};
    const Wishes at_another_home{{}, Wifi{"wlan0", "other", ""}, {}};
    const Wishes with_both = wishes_with(camera, on_wlan1);
    EXPECT_FALSE(takes_the_way_in(nothing, with_camera, {}));
    EXPECT_TRUE(takes_the_way_in(nothing, with_camera, {"wlan0"})); // joined by hand
    EXPECT_FALSE(takes_the_way_in(nothing, with_camera, {"eth0", "wlan0"}));
    EXPECT_TRUE(takes_the_way_in(at_home, at_another_home, {"wlan0"}));
    EXPECT_TRUE(takes_the_way_in(at_home, at_another_home, {})); // it may be out of reach for now
    EXPECT_FALSE(takes_the_way_in(at_home, at_another_home, {"eth0"}));
    EXPECT_TRUE(takes_the_way_in(with_both, with_camera, {"wlan0", "wlan1"}));
    EXPECT_FALSE(takes_the_way_in(with_both, wishes_with({"wlan0", "x", ""}, on_wlan1),
                                  {"wlan0", "wlan1"})); // the access point stays
}

} // namespace
