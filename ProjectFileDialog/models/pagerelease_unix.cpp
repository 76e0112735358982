#include "pagerelease.h"

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace pfd {

void releasePages(const char* from, const char* to)
{
#ifdef MADV_DONTNEED
    static const std::uintptr_t page = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t first = (std::uintptr_t(from) + page - 1) / page * page;
    const std::uintptr_t last = std::uintptr_t(to) / page * page;
    if (page == 0 || last <= first)
        return;
    // The pages stay mapped; the allocator that owns them sees nothing
    // change but their content.
    ::madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
#else
    (void)from;
    (void)to;
#endif
}

} // namespace pfd
