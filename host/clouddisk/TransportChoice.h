#pragma once
// Which way the host's channel reaches the cloud-disk service: over HTTP to
// clouddiskd when the host is pointed at one, else the service embedded in
// the host's process.
#include "CloudTransport.h"

#include <QString>

namespace clouddisk {

// The host value that names the clouddiskd a host uses.
inline constexpr char kServiceUrlKey[] = "云盘服务地址";
// The environment variable that does the same when the host value is unset.
inline constexpr char kServiceUrlEnv[] = "PFD_CLOUD_URL";

// Whether text is an http(s) URL with a host: "http://127.0.0.1:8765".
CLOUDDISK_EXPORT bool isServiceUrl(const QString& text);
// The host value naming a PEM file of certificate authorities to trust for
// https (besides none: the system's store), and its environment twin.
inline constexpr char kServiceCaKey[] = "云盘服务证书";
inline constexpr char kServiceCaEnv[] = "PFD_CLOUD_CA";
// The host value that allows plain http to another machine ("1"), and its
// environment twin.
inline constexpr char kAllowPlainHttpKey[] = "云盘服务允许明文";
inline constexpr char kAllowPlainHttpEnv[] = "PFD_CLOUD_ALLOW_HTTP";

// hostValue when it names a URL, else $PFD_CLOUD_URL when that does, else
// empty (embedded). Surrounding blanks are dropped.
CLOUDDISK_EXPORT QString chooseServiceUrl(const QString& hostValue);
// The HTTP settings from the host values (each unset one from its
// environment variable): the CA file, and whether plain http is allowed
// ("1", "true", "yes", "是").
CLOUDDISK_EXPORT HttpSettings chooseHttpSettings(const QString& caHostValue, const QString& allowHostValue);
// makeHttpTransport(url, settings) for a URL, else
// makeEmbeddedTransport(embeddedDataDir).
CLOUDDISK_EXPORT std::unique_ptr<CloudTransport> makeTransport(const QString& url, const QString& embeddedDataDir,
                                                               const HttpSettings& settings = HttpSettings());

} // namespace clouddisk
