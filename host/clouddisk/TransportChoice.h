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
// hostValue when it names a URL, else $PFD_CLOUD_URL when that does, else
// empty (embedded). Surrounding blanks are dropped.
CLOUDDISK_EXPORT QString chooseServiceUrl(const QString& hostValue);
// makeHttpTransport(url) for a URL, else makeEmbeddedTransport(embeddedDataDir).
CLOUDDISK_EXPORT std::unique_ptr<CloudTransport> makeTransport(const QString& url, const QString& embeddedDataDir);

} // namespace clouddisk
