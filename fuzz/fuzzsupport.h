#pragma once
// Shared bits of the fuzz harnesses: a failed invariant prints what differs
// and aborts, which libFuzzer reports as a crash with the input saved.
#include <QString>

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(cond)                                                                   \
    do {                                                                                   \
        if (!(cond)) {                                                                     \
            std::fprintf(stderr, "%s:%d: invariant failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                                  \
        }                                                                                  \
    } while (0)

namespace fuzzsupport {

// The input split in two at the first zero byte (the second part empty when
// there is none): lets one input drive two texts.
inline void splitAtZero(const char* data, size_t size, QByteArray& first, QByteArray& second)
{
    size_t i = 0;
    while (i < size && data[i] != 0)
        ++i;
    first = QByteArray(data, int(i));
    second = i < size ? QByteArray(data + i + 1, int(size - i - 1)) : QByteArray();
}

} // namespace fuzzsupport
