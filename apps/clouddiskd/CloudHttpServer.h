#pragma once
// clouddiskd's HTTP face: routes the wire forms of CloudHttp_p.h onto one
// clouddisk::Service. Each connection is served by its own thread of the HTTP
// library (libmicrohttpd), so several hosts are answered at once; the service
// is safe for that. File contents are streamed in both directions and never
// held whole in memory: an upload arrives in pieces of up to half the
// connection's memory, a download leaves the stored file through sendfile.
#include <QString>

#include <condition_variable>
#include <mutex>

struct MHD_Daemon;

namespace clouddisk {
class Service;
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
    // Ends serve(); a stop that comes before serve() makes it return at once.
    void stop();

    struct Exchange;

private:
    // Also keeps the sessions, so that they outlive a restart.
    clouddisk::Service& m_service;
    int m_listenSocket = -1;
    std::mutex m_mutex;
    std::condition_variable m_stopped;
    bool m_stopRequested = false;

    friend struct Router;
};

} // namespace clouddiskd
