#pragma once
// Sorting helpers of the file table.
#include "pfd_global.h"

#include <QString>
#include <QtGlobal>

#include <utility>
#include <vector>

namespace pfd {

// A "yyyy-MM-dd hh:mm:ss" text as a number that orders like the local
// date-time it names; texts that are no valid date-time give the smallest
// value, so they come first.
PFD_EXPORT qint64 dateTimeSortKey(const QString& text);

// A "yyyy-MM-dd hh:mm:ss" text as the table shows it, "yyyy/MM/dd hh:mm" in
// local time; empty when the text names no valid date-time.
PFD_EXPORT QString dateDisplayText(const QString& text);

// Quicksort over positions with the median of first, middle and last as
// pivot; equal elements keep no particular order. Every index it touches is
// bounds-checked, so even an ordering that is not transitive (a shortcut to
// a file compares by name with folders and files alike) cannot make it run
// off the range; it always ends, with the elements permuted.
template <typename T, typename Less>
void quickSort(std::vector<T>& v, Less less)
{
    std::vector<std::pair<int, int>> todo;
    todo.emplace_back(0, int(v.size()) - 1);
    while (!todo.empty()) {
        auto [lo, hi] = todo.back();
        todo.pop_back();
        while (hi - lo >= 16) {
            const int mid = lo + (hi - lo) / 2;
            if (less(v[mid], v[lo]))
                std::swap(v[mid], v[lo]);
            if (less(v[hi], v[lo]))
                std::swap(v[hi], v[lo]);
            if (less(v[hi], v[mid]))
                std::swap(v[hi], v[mid]);
            const T pivot = v[mid];
            int i = lo;
            int j = hi;
            while (i <= j) {
                while (i <= hi && less(v[i], pivot))
                    ++i;
                while (j >= lo && less(pivot, v[j]))
                    --j;
                if (i <= j) {
                    std::swap(v[i], v[j]);
                    ++i;
                    --j;
                }
            }
            // Recurse into the smaller side first so the work list stays short.
            if (j - lo < hi - i) {
                if (i < hi)
                    todo.emplace_back(i, hi);
                hi = j;
            } else {
                if (lo < j)
                    todo.emplace_back(lo, j);
                lo = i;
            }
        }
        for (int a = lo + 1; a <= hi; ++a) {
            T x = v[a];
            int b = a - 1;
            while (b >= lo && less(x, v[b])) {
                v[b + 1] = v[b];
                --b;
            }
            v[b + 1] = x;
        }
    }
}

} // namespace pfd
