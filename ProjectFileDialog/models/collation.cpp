#include "collation.h"

#include <QCollator>
#include <QLocale>

#include <QFuture>
#include <QThread>
#include <QtConcurrent>

#include <algorithm>

namespace pfd {

void configureChineseCollator(QCollator& collator)
{
    collator.setLocale(QLocale(QLocale::Chinese, QLocale::China));
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    collator.setIgnorePunctuation(true);
}

std::vector<QCollatorSortKey> chineseSortKeys(int n, const std::function<const QString&(int)>& nameAt)
{
    // A key costs the collator a few microseconds, and a thread with its own
    // collator a fraction of a millisecond to start: worth it from a few
    // thousand names on.
    constexpr int kNamesPerThread = 4096;
    const int cores = std::max(1, QThread::idealThreadCount());
    const int parts = std::max(1, std::min({cores, 8, n / kNamesPerThread}));
    std::vector<std::vector<QCollatorSortKey>> pieces(static_cast<size_t>(parts));
    const auto work = [&](int k) {
        QCollator collator;
        configureChineseCollator(collator);
        const int first = int(qint64(n) * k / parts);
        const int end = int(qint64(n) * (k + 1) / parts);
        std::vector<QCollatorSortKey>& keys = pieces[size_t(k)];
        keys.reserve(size_t(end - first));
        for (int i = first; i < end; ++i)
            keys.push_back(collator.sortKey(nameAt(i)));
    };
    // Helpers on the global pool; one that has not started by the time this
    // thread waits for it is run here instead.
    QList<QFuture<void>> helpers;
    for (int k = 1; k < parts; ++k)
        helpers.append(QtConcurrent::run([&work, k] { work(k); }));
    work(0);
    for (QFuture<void>& helper : helpers)
        helper.waitForFinished();
    if (parts == 1)
        return std::move(pieces.front());
    std::vector<QCollatorSortKey> keys;
    keys.reserve(size_t(n));
    for (std::vector<QCollatorSortKey>& piece : pieces) {
        std::move(piece.begin(), piece.end(), std::back_inserter(keys));
        piece.clear();
        piece.shrink_to_fit();
    }
    return keys;
}

} // namespace pfd
