// wlanstatus INTERFACE: prints the interface's current Wi-Fi link as JSON lines. Without a link it
// prints nothing and ends with status 1.
#include "wlanstatus/nl80211_link.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: wlanstatus INTERFACE\n", stderr);
        return 2;
    }
    const std::optional<wlanstatus::Link> link = wlanstatus::query_link(argv[1]);
    if (!link)
        return 1;
    const std::string report = wlanstatus::format_report(*link);
    return std::fputs(report.c_str(), stdout) < 0 || std::fflush(stdout) != 0 ? 1 : 0;
}
