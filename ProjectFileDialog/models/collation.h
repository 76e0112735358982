#pragma once
// Names are ordered as a Chinese reader expects: case-insensitive, numbers
// by value (file2 before file10), punctuation ignored.
#include "pfd_global.h"

#include <QCollatorSortKey>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <string>
#include <vector>

class QCollator;

namespace pfd {
PFD_EXPORT void configureChineseCollator(QCollator& collator);

// The sort keys of many names, compared by position: compare(a, b) orders
// names a and b exactly as the Chinese collator's compare does.
class PFD_EXPORT SortKeys
{
public:
    int size() const { return m_count; }
    int compare(int a, int b) const
    {
        if (!m_collatorKeys.empty())
            return m_collatorKeys[size_t(a)].compare(m_collatorKeys[size_t(b)]);
        // Most pairs differ in their first sixteen bytes, kept side by side
        // as two numbers; a key that ends within them (its terminating zero
        // is among them) is equal to any key with the same first sixteen.
        const quint64* pa = m_prefix.data() + 2 * size_t(a);
        const quint64* pb = m_prefix.data() + 2 * size_t(b);
        if (pa[0] != pb[0])
            return pa[0] < pb[0] ? -1 : 1;
        if (pa[1] != pb[1])
            return pa[1] < pb[1] ? -1 : 1;
        if (m_offset[size_t(a) + 1] - m_offset[size_t(a)] <= kPrefixBytes
            || m_offset[size_t(b) + 1] - m_offset[size_t(b)] <= kPrefixBytes)
            return 0;
        return compareTails(a, b);
    }

    static constexpr quint32 kPrefixBytes = 16;

private:
    friend PFD_EXPORT SortKeys chineseSortKeys(int n, const std::function<const QString&(int)>& nameAt);
    int compareTails(int a, int b) const;

    int m_count = 0;
    // Where the collation library is at hand, every key in one block of
    // bytes (each ending with a zero byte) with its first sixteen bytes kept
    // as two numbers, a key's pair after the one before; otherwise the
    // collator's own keys.
    std::string m_bytes;
    std::vector<quint32> m_offset;
    std::vector<quint64> m_prefix;
    std::vector<QCollatorSortKey> m_collatorKeys;
};

// The Chinese collator's sort keys of n names (nameAt(i) for i below n), in
// that order. A long list is shared among the machine's cores.
PFD_EXPORT SortKeys chineseSortKeys(int n, const std::function<const QString&(int)>& nameAt);
} // namespace pfd
