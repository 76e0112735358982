#pragma once
// Looks up the host's plug-in services by name.
#include "osgi_global.h"
#include <string>

namespace osgi {

class FirstPageService;

class OSGI_EXPORT ObjectHelper
{
public:
    // The start-page service for "firstPagePlugin"; null for any other name
    // and while osgiTesting says no service is registered.
    static FirstPageService* GetService(const std::string& name);
};

} // namespace osgi
