#pragma once
// clouddiskd's HTTP face: routes the wire forms of CloudHttp_p.h onto one
// clouddisk::Service. Requests run on the HTTP library's worker threads; the
// service is safe for that. File contents are streamed in both directions and
// never held whole in memory.
#include "Sessions.h"

#include <QString>

#include <memory>

namespace clouddisk {
class Service;
}
namespace httplib {
class Server;
}

namespace clouddiskd {

class CloudHttpServer
{
public:
    explicit CloudHttpServer(clouddisk::Service& service);
    ~CloudHttpServer();

    // Binds host:port (port 0: any free port). The bound port, or -1.
    int bind(const QString& host, int port);
    // Serves until stop() is called from another thread. False on failure.
    bool serve();
    void stop();

private:
    void installRoutes();

    clouddisk::Service& m_service;
    Sessions m_sessions;
    std::unique_ptr<httplib::Server> m_server;
};

} // namespace clouddiskd
