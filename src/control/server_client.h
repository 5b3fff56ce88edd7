// The receiving half of the link to the remote relay server.
#pragma once

namespace fieldrelaybox {

// Opens the server socket and starts its receive thread.
void init_server_client();

} // namespace fieldrelaybox
