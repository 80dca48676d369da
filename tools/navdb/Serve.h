// "navdb serve": a local web page that works like the unit's search screens, and the small JSON
// API under it, over the same searches as the other navdb commands.
#pragma once

#include <string>

namespace navdb {

struct ServeOptions {
    std::string db;
    std::string host = "127.0.0.1";
    int port = 8080;  // 0: any free port (printed)
};

// False when this navdb was built without the web server (no cpp-httplib).
bool ServeAvailable();

// Serves the page and the API for `options.db` until SIGINT or SIGTERM. Prints the address it
// listens on as "navdb: serving DB on http://HOST:PORT/" on stdout. Returns the exit code: 0
// after a signal, 2 for a missing database, a port that cannot be bound or a build without
// the server.
int Serve(const ServeOptions& options);

}  // namespace navdb
