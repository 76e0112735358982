#pragma once
// Who a connection speaks for, as the per-address limits count it. Hosts
// reached directly are their socket's address. Behind the front every
// connection comes from the front's own address, so the front names the host
// in X-Forwarded-For; that header is believed only from addresses the
// operator named as trusted proxies (anyone else could write any address in
// it), and from them only its last entry, the one the front itself added.
// The connection limit per address is the front's business for its hosts,
// so a trusted proxy's own connections are not held to it.
#include <QByteArray>
#include <QString>

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

struct sockaddr;

namespace clouddiskd {

// A machine's address: 4 bytes for IPv4 (also when mapped into IPv6), 16
// for IPv6; empty for anything else.
QByteArray addressBytes(const sockaddr* address);
// The same from text ("10.1.2.3", "2001:db8::1"); empty when it is none.
QByteArray addressBytes(const QByteArray& text);
// An address as the limits count it: an IPv4 address, or the /64 network of
// an IPv6 one (what one party usually holds); "?" for none.
QByteArray limitKey(const QByteArray& address);

class TrustedProxies
{
public:
    // False when `text` is not an IP address.
    bool add(const QString& text);
    bool isEmpty() const { return m_addresses.empty(); }
    bool contains(const QByteArray& address) const;
    // The machine a connection from `peer` speaks for, given its
    // X-Forwarded-For header (null when there is none).
    QByteArray clientOf(const QByteArray& peer, const char* forwardedFor) const;

private:
    std::vector<QByteArray> m_addresses;
};

// Connections open per address (counted by limitKey), with a cap; trusted
// proxies are counted but never held to it.
class ConnectionsPerAddress
{
public:
    ConnectionsPerAddress(unsigned limit, const TrustedProxies& trusted);
    // Whether a new connection from this address may be taken.
    bool admits(const QByteArray& address) const;
    void opened(const QByteArray& address);
    void closed(const QByteArray& address);
    int openFrom(const QByteArray& address) const;

private:
    unsigned m_limit;
    const TrustedProxies& m_trusted;
    mutable std::mutex m_mutex;
    std::unordered_map<std::string, int> m_open;
};

} // namespace clouddiskd
