#include "ClientAddress.h"

#include <QList>

#include <algorithm>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace clouddiskd {

QByteArray addressBytes(const sockaddr* a)
{
    if (!a)
        return QByteArray();
    if (a->sa_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(a);
        return QByteArray(reinterpret_cast<const char*>(&v4->sin_addr), 4);
    }
    if (a->sa_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(a);
        const auto* bytes = reinterpret_cast<const char*>(&v6->sin6_addr);
        if (IN6_IS_ADDR_V4MAPPED(&v6->sin6_addr))
            return QByteArray(bytes + 12, 4);
        return QByteArray(bytes, 16);
    }
    return QByteArray();
}

QByteArray addressBytes(const QByteArray& text)
{
    const QByteArray t = text.trimmed();
    in_addr v4{};
    if (::inet_pton(AF_INET, t.constData(), &v4) == 1)
        return QByteArray(reinterpret_cast<const char*>(&v4), 4);
    in6_addr v6{};
    if (::inet_pton(AF_INET6, t.constData(), &v6) == 1) {
        const auto* bytes = reinterpret_cast<const char*>(&v6);
        return IN6_IS_ADDR_V4MAPPED(&v6) ? QByteArray(bytes + 12, 4) : QByteArray(bytes, 16);
    }
    return QByteArray();
}

QByteArray limitKey(const QByteArray& address)
{
    if (address.size() == 4)
        return address;
    if (address.size() == 16)
        return address.left(8);
    return QByteArray("?");
}

bool TrustedProxies::add(const QString& text)
{
    const QByteArray a = addressBytes(text.toLatin1());
    if (a.isEmpty())
        return false;
    m_addresses.push_back(a);
    return true;
}

bool TrustedProxies::contains(const QByteArray& address) const
{
    return std::find(m_addresses.begin(), m_addresses.end(), address) != m_addresses.end();
}

QByteArray TrustedProxies::clientOf(const QByteArray& peer, const char* forwardedFor) const
{
    if (!forwardedFor || !contains(peer))
        return peer;
    // Entries are appended by each proxy on the way: from the right, the
    // first one no trusted proxy wrote is the host. Anything left of it was
    // written by the host itself and proves nothing.
    QByteArray client = peer;
    const QList<QByteArray> entries = QByteArray(forwardedFor).split(',');
    for (auto it = entries.crbegin(); it != entries.crend(); ++it) {
        const QByteArray a = addressBytes(*it);
        if (a.isEmpty())
            return client;
        client = a;
        if (!contains(a))
            return a;
    }
    return client;
}

ConnectionsPerAddress::ConnectionsPerAddress(unsigned limit, const TrustedProxies& trusted)
    : m_limit(limit)
    , m_trusted(trusted)
{
}

bool ConnectionsPerAddress::admits(const QByteArray& address) const
{
    if (m_trusted.contains(address))
        return true;
    return unsigned(openFrom(address)) < m_limit;
}

void ConnectionsPerAddress::opened(const QByteArray& address)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_open[limitKey(address).toStdString()];
}

void ConnectionsPerAddress::closed(const QByteArray& address)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_open.find(limitKey(address).toStdString());
    if (it != m_open.end() && --it->second <= 0)
        m_open.erase(it);
}

int ConnectionsPerAddress::openFrom(const QByteArray& address) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_open.find(limitKey(address).toStdString());
    return it == m_open.end() ? 0 : it->second;
}

} // namespace clouddiskd
