#pragma once
// clouddiskd's HTTP face: routes the wire forms of CloudHttp_p.h onto one
// clouddisk::Service. Connections are served by a fixed pool of threads of
// the HTTP library (libmicrohttpd), each watching many connections, so an
// idle or slow connection costs a socket and a small buffer, never a thread.
// Sign-ins are checked on threads of their own (LoginDesk), so a slow hash
// or a throttled guess never holds up anyone's browse request. File contents
// are streamed in both directions and never held whole in memory.
#include "ClientAddress.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

struct MHD_Daemon;

namespace clouddisk {
class Service;
}

namespace clouddiskd {

class ArrivalWatch;
class LoginDesk;
class ConnectionsPerAddress;

struct ServerOptions
{
    // Threads serving connections; 0: chosen from the machine.
    int threads = 0;
    // Threads checking passwords; 0: chosen from the machine.
    int loginThreads = 0;
    // Connections one address may hold at once (a trusted proxy: any
    // number).
    unsigned perAddressLimit = 64;
    // Fronts whose X-Forwarded-For names the host a request comes from.
    TrustedProxies trustedProxies;
    // Time from a connection's opening, or the end of its previous request,
    // until the next request's head has arrived.
    std::chrono::seconds requestTime{20};
    // PEM certificate (chain) and key; both empty for plain HTTP.
    QByteArray tlsCertificate;
    QByteArray tlsKey;

    int threadCount() const;
    int loginThreadCount() const;
    // Connections served at once, from the descriptors this process may open.
    unsigned connectionLimit() const;
};

class CloudHttpServer
{
public:
    explicit CloudHttpServer(clouddisk::Service& service, ServerOptions options = ServerOptions());
    ~CloudHttpServer();

    // Binds host:port (port 0: any free port). The bound port, or -1.
    int bind(const QString& host, int port);
    // Serves until stop() is called from another thread; `serving` runs once
    // connections are taken. False on failure (*error says why when given).
    bool serve(QString* error = nullptr, const std::function<void()>& serving = {});
    // Ends serve(); a stop that comes before serve() makes it return at once.
    void stop();

    const ServerOptions& options() const { return m_options; }

    struct Exchange;

private:
    // Also keeps the sessions, so that they outlive a restart.
    clouddisk::Service& m_service;
    ServerOptions m_options;
    std::unique_ptr<ArrivalWatch> m_arrivals;
    std::unique_ptr<LoginDesk> m_logins;
    std::unique_ptr<ConnectionsPerAddress> m_perAddress;
    int m_listenSocket = -1;
    std::mutex m_mutex;
    std::condition_variable m_stopped;
    bool m_stopRequested = false;

    friend struct Router;
};

} // namespace clouddiskd
