#include "wlanstatus/nl80211_link.h"

#include <array>
#include <linux/nl80211.h>
#include <memory>
#include <net/if.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>

namespace wlanstatus {

namespace {

using Socket = std::unique_ptr<nl_sock, decltype(&nl_socket_free)>;
using Message = std::unique_ptr<nl_msg, decltype(&nlmsg_free)>;
using Callbacks = std::unique_ptr<nl_cb, decltype(&nl_cb_put)>;

struct Connection {
    Socket socket;
    int family; // number of nl80211
    int interface_index;
};

template<std::size_t Size> using Attributes = std::array<nlattr*, Size>;

Attributes<NL80211_ATTR_MAX + 1> attributes_of(nl_msg* message) {
    Attributes<NL80211_ATTR_MAX + 1> attributes{};
    auto* header = static_cast<genlmsghdr*>(nlmsg_data(nlmsg_hdr(message)));
    nla_parse(attributes.data(), NL80211_ATTR_MAX, genlmsg_attrdata(header, 0),
              genlmsg_attrlen(header, 0), nullptr);
    return attributes;
}

int on_finish(nl_msg* /*message*/, void* pending) {
    *static_cast<bool*>(pending) = false;
    return NL_SKIP;
}

int on_error(sockaddr_nl* /*address*/, nlmsgerr* /*error*/, void* pending) {
    *static_cast<bool*>(pending) = false;
    return NL_STOP;
}

// Asks for all entries of a kind and hands each to on_entry with its argument.
void dump(const Connection& connection, nl80211_commands command, nl_recvmsg_msg_cb_t on_entry,
          void* argument) {
    const Message message(nlmsg_alloc(), nlmsg_free);
    const Callbacks callbacks(nl_cb_alloc(NL_CB_DEFAULT), nl_cb_put);
    if (message == nullptr || callbacks == nullptr)
        return;
    genlmsg_put(message.get(), NL_AUTO_PORT, NL_AUTO_SEQ, connection.family, 0, NLM_F_DUMP,
                static_cast<std::uint8_t>(command), 0);
    if (nla_put_u32(message.get(), NL80211_ATTR_IFINDEX,
                    static_cast<std::uint32_t>(connection.interface_index)) != 0)
        return;
    bool pending = true;
    nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, on_entry, argument);
    nl_cb_set(callbacks.get(), NL_CB_FINISH, NL_CB_CUSTOM, on_finish, &pending);
    nl_cb_err(callbacks.get(), NL_CB_CUSTOM, on_error, &pending);
    if (nl_send_auto(connection.socket.get(), message.get()) < 0)
        return;
    while (pending && nl_recvmsgs(connection.socket.get(), callbacks.get()) >= 0) {
    }
}

bool is_joined(const Attributes<NL80211_BSS_MAX + 1>& bss) {
    if (bss[NL80211_BSS_STATUS] == nullptr)
        return false;
    const std::uint32_t status = nla_get_u32(bss[NL80211_BSS_STATUS]);
    return status == NL80211_BSS_STATUS_ASSOCIATED || status == NL80211_BSS_STATUS_IBSS_JOINED;
}

// One network in reach; only the one that has been joined counts.
int take_network(nl_msg* message, void* argument) {
    auto& link = *static_cast<std::optional<Link>*>(argument);
    nlattr* nested = attributes_of(message)[NL80211_ATTR_BSS];
    Attributes<NL80211_BSS_MAX + 1> bss{};
    if (nested == nullptr || nla_parse_nested(bss.data(), NL80211_BSS_MAX, nested, nullptr) != 0 ||
        !is_joined(bss))
        return NL_SKIP;
    link.emplace();
    if (nlattr* frequency = bss[NL80211_BSS_FREQUENCY])
        link->frequency = nla_get_u32(frequency);
    if (nlattr* signal = bss[NL80211_BSS_SIGNAL_MBM])
        link->signal = static_cast<std::int32_t>(nla_get_u32(signal)) / 100;
    if (nlattr* elements = bss[NL80211_BSS_INFORMATION_ELEMENTS])
        link->ssid = find_ssid({static_cast<const std::uint8_t*>(nla_data(elements)),
                                static_cast<std::size_t>(nla_len(elements))});
    return NL_SKIP;
}

// The peer of the link: its signal is measured more often than that of the beacons.
int take_peer(nl_msg* message, void* argument) {
    auto& link = *static_cast<std::optional<Link>*>(argument);
    nlattr* nested = attributes_of(message)[NL80211_ATTR_STA_INFO];
    Attributes<NL80211_STA_INFO_MAX + 1> peer{};
    if (nested == nullptr ||
        nla_parse_nested(peer.data(), NL80211_STA_INFO_MAX, nested, nullptr) != 0)
        return NL_SKIP;
    if (nlattr* signal = peer[NL80211_STA_INFO_SIGNAL])
        link->signal = static_cast<std::int8_t>(nla_get_u8(signal));
    return NL_SKIP;
}

} // namespace

std::optional<Link> query_link(const char* interface_name) {
    Connection connection{Socket(nl_socket_alloc(), nl_socket_free), -1,
                          static_cast<int>(if_nametoindex(interface_name))};
    if (connection.interface_index == 0 || connection.socket == nullptr ||
        genl_connect(connection.socket.get()) != 0)
        return std::nullopt;
    connection.family = genl_ctrl_resolve(connection.socket.get(), NL80211_GENL_NAME);
    if (connection.family < 0)
        return std::nullopt;
    std::optional<Link> link;
    dump(connection, NL80211_CMD_GET_SCAN, take_network, &link);
    if (link)
        dump(connection, NL80211_CMD_GET_STATION, take_peer, &link);
    return link;
}

} // namespace wlanstatus
