// SIGTERM and SIGINT end the panel, SIGHUP makes it read its password and certificate again.
#include "core/log.h"
#include "core/signal_sets.h"
#include "panel/passwords.h"
#include "panel/web_server.h"

#include <csignal>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>

namespace panel {
namespace {

using fieldrelaybox::log_line;

// A new password ends what the old one opened.
void read_password_again(WebServer& server) {
    if (server.options->password_file.empty())
        return;
    const std::string hash = read_password_hash(server.options->password_file);
    if (hash.empty() || hash == server.site.password_hash)
        return;
    server.site.password_hash = hash;
    server.site.right_authorization.clear();
    server.site.sessions = {};
    for (Connection& each : server.connections.list)
        shut_down(each);
    log_line("the password was changed: everybody has to log in anew");
}

void read_certificate_again(WebServer& server) {
    const Options& options = *server.options;
    if (options.certificate_file.empty())
        return;
    lws_tls_cert_updated(server.context, options.certificate_file.c_str(), options.key_file.c_str(),
                         nullptr, 0, nullptr, 0);
    log_line("the certificate was read again");
}

} // namespace

int open_signals() {
    const sigset_t signals = fieldrelaybox::hold_back_signals({SIGTERM, SIGINT, SIGHUP});
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
}

void take_signal(WebServer& server) {
    signalfd_siginfo signal{};
    if (read(server.signals, &signal, sizeof signal) != sizeof signal)
        return;
    if (signal.ssi_signo == SIGHUP) {
        read_password_again(server);
        read_certificate_again(server);
    } else {
        server.ending = true;
    }
}

} // namespace panel
