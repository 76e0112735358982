#pragma once
// A plain HTTP(S) client for tests and benchmarks that speak to clouddiskd or
// the front themselves: one libcurl handle, so one kept connection, exact
// paths, headers and bodies.
#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>

#include <curl/curl.h>

namespace httpclient {

struct Reply
{
    long status = 0; // 0: no answer at all
    QByteArray body;
    QByteArray type;
};

class Client
{
public:
    // base: "http://127.0.0.1:8765"; caFile: the certificate an https
    // server must chain to; from: the loopback address to speak from
    // (another machine, as far as the server can tell).
    explicit Client(QByteArray base, QString caFile = QString(), QByteArray from = QByteArray())
        : m_base(std::move(base))
        , m_ca(std::move(caFile))
        , m_from(std::move(from))
        , m_curl(curl_easy_init())
    {
    }
    ~Client() { curl_easy_cleanup(m_curl); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    Reply post(const QByteArray& path, const QByteArray& body, const QList<QByteArray>& headers = {},
               const QByteArray& type = "application/json")
    {
        curl_easy_reset(m_curl);
        Reply r;
        curl_slist* list = curl_slist_append(nullptr, ("Content-Type: " + type).constData());
        list = curl_slist_append(list, "Expect:");
        for (const QByteArray& h : headers)
            list = curl_slist_append(list, h.constData());
        const QByteArray url = m_base + path;
        curl_easy_setopt(m_curl, CURLOPT_URL, url.constData());
        curl_easy_setopt(m_curl, CURLOPT_PROXY, "");
        if (!m_from.isEmpty())
            curl_easy_setopt(m_curl, CURLOPT_INTERFACE, m_from.constData());
        curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(m_curl, CURLOPT_TIMEOUT, 60L);
        if (!m_ca.isEmpty())
            curl_easy_setopt(m_curl, CURLOPT_CAINFO, QFile::encodeName(m_ca).constData());
        curl_easy_setopt(m_curl, CURLOPT_POST, 1L);
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, list);
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(body.size()));
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, body.constData());
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t, size_t n, void* out) {
            static_cast<QByteArray*>(out)->append(data, int(n));
            return n;
        });
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &r.body);
        if (curl_easy_perform(m_curl) == CURLE_OK) {
            curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &r.status);
            const char* t = nullptr;
            curl_easy_getinfo(m_curl, CURLINFO_CONTENT_TYPE, &t);
            r.type = t;
        } else {
            r.body.clear();
        }
        curl_slist_free_all(list);
        return r;
    }

    // Connections the last request had to open (0: it reused one).
    long newConnections() const
    {
        long n = -1;
        curl_easy_getinfo(m_curl, CURLINFO_NUM_CONNECTS, &n);
        return n;
    }

private:
    QByteArray m_base;
    QString m_ca;
    QByteArray m_from;
    CURL* m_curl;
};

} // namespace httpclient
