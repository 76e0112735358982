#pragma once
// Giving back the memory of text that has been read and will not be read
// again, while the rest of the same buffer is still in use.

namespace pfd {

// The whole memory pages inside [from, to) go back to the system; reading
// them afterwards gives zero bytes. Only for a buffer its caller owns alone.
// Where the system offers no such call, nothing happens.
void releasePages(const char* from, const char* to);

} // namespace pfd
