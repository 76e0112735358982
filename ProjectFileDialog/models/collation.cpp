#include "collation.h"

#include <QCollator>
#include <QLocale>

#include <QFuture>
#include <QThread>
#include <QtConcurrent>

#include <algorithm>
#include <atomic>
#include <cstring>

#ifdef PFD_HAVE_ICU
#include <unicode/ucol.h>
#endif

namespace pfd {

void configureChineseCollator(QCollator& collator)
{
    collator.setLocale(QLocale(QLocale::Chinese, QLocale::China));
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    collator.setIgnorePunctuation(true);
}

int SortKeys::compareTails(int a, int b) const
{
    const int c = std::strcmp(m_bytes.data() + m_offset[size_t(a)] + kPrefixBytes,
                              m_bytes.data() + m_offset[size_t(b)] + kPrefixBytes);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

namespace {

// Runs work(k) for each of parts pieces: piece 0 here, the others on the
// global pool; a helper that has not started by the time this thread waits
// for it is run here instead.
void inParts(int parts, const std::function<void(int)>& work)
{
    QList<QFuture<void>> helpers;
    for (int k = 1; k < parts; ++k)
        helpers.append(QtConcurrent::run([&work, k] { work(k); }));
    work(0);
    for (QFuture<void>& helper : helpers)
        helper.waitForFinished();
}

int partsFor(int n)
{
    // A key costs a few microseconds, and a thread with its own collator a
    // fraction of a millisecond to start: worth it from a few thousand names.
    constexpr int kNamesPerThread = 4096;
    const int cores = std::max(1, QThread::idealThreadCount());
    return std::max(1, std::min({cores, 8, n / kNamesPerThread}));
}

#ifdef PFD_HAVE_ICU
// The collation library's collator set up as configureChineseCollator sets
// up QCollator: Chinese order, case and accents of equal weight ignored
// beyond the base letters' (secondary strength), numbers by value,
// punctuation and blanks ignored.
UCollator* openChineseCollator()
{
    UErrorCode status = U_ZERO_ERROR;
    const QByteArray name = QLocale(QLocale::Chinese, QLocale::China).bcp47Name().replace('-', '_').toLatin1();
    UCollator* c = ucol_open(name.constData(), &status);
    if (U_FAILURE(status))
        return nullptr;
    ucol_setAttribute(c, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    ucol_setAttribute(c, UCOL_STRENGTH, UCOL_SECONDARY, &status);
    ucol_setAttribute(c, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setAttribute(c, UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED, &status);
    if (U_FAILURE(status)) {
        ucol_close(c);
        return nullptr;
    }
    return c;
}

struct Piece
{
    std::string bytes;
    std::vector<quint32> lengths;
};

bool keyBytes(UCollator* c, const QString& name, std::vector<uint8_t>& buffer, int& length)
{
    const auto* text = reinterpret_cast<const UChar*>(name.constData());
    length = ucol_getSortKey(c, text, name.size(), buffer.data(), int(buffer.size()));
    if (length > int(buffer.size())) {
        buffer.resize(size_t(length));
        length = ucol_getSortKey(c, text, name.size(), buffer.data(), int(buffer.size()));
    }
    return length > 0;
}

// Whether the library's keys order names as QCollator does in this
// process: a QCollator built on another collation service would order some
// names differently, and the table must not disagree with the rest of the
// dialog. Asked once.
bool libraryAgreesWithQCollator()
{
    static const bool agrees = [] {
        UCollator* c = openChineseCollator();
        if (!c)
            return false;
        QCollator q;
        configureChineseCollator(q);
        const QStringList samples{
            QStringLiteral("预算2.GCFG"), QStringLiteral("预算10.GCFG"), QStringLiteral("Estimate-9.GCFZ"),
            QStringLiteral("estimate 9"), QStringLiteral("概算.GCFZ"), QStringLiteral("工程总.GCFG"),
            QStringLiteral("审计(1).GCFG"), QStringLiteral("招标.GCFG"), QStringLiteral("a_b"),
            QStringLiteral("ab"), QStringLiteral("A-B"), QStringLiteral("结算书 第3版"), QStringLiteral("结算书第3版"),
            QStringLiteral("Ｅｓｔ"), QStringLiteral("é"), QStringLiteral("e"), QStringLiteral(""), QStringLiteral("说明")};
        std::vector<std::string> keys;
        std::vector<uint8_t> buffer(256);
        for (const QString& s : samples) {
            int length = 0;
            if (!keyBytes(c, s, buffer, length)) {
                ucol_close(c);
                return false;
            }
            keys.emplace_back(reinterpret_cast<const char*>(buffer.data()), size_t(length));
        }
        ucol_close(c);
        for (int i = 0; i < samples.size(); ++i) {
            for (int j = 0; j < samples.size(); ++j) {
                const int byLibrary = std::strcmp(keys[size_t(i)].c_str(), keys[size_t(j)].c_str());
                const int byQt = q.compare(samples.at(i), samples.at(j));
                if ((byLibrary < 0) != (byQt < 0) || (byLibrary == 0) != (byQt == 0))
                    return false;
            }
        }
        return true;
    }();
    return agrees;
}

bool libraryKeys(int n, const std::function<const QString&(int)>& nameAt, std::string& bytes,
                 std::vector<quint32>& offset, std::vector<quint64>& prefix)
{
    if (!libraryAgreesWithQCollator())
        return false;
    const int parts = partsFor(n);
    std::vector<Piece> pieces(static_cast<size_t>(parts));
    std::atomic<bool> failed{false};
    inParts(parts, [&](int k) {
        UCollator* c = openChineseCollator();
        if (!c) {
            failed = true;
            return;
        }
        const int first = int(qint64(n) * k / parts);
        const int end = int(qint64(n) * (k + 1) / parts);
        Piece& piece = pieces[size_t(k)];
        piece.lengths.reserve(size_t(end - first));
        piece.bytes.reserve(size_t(end - first) * 24);
        std::vector<uint8_t> buffer(512);
        for (int i = first; i < end; ++i) {
            int length = 0;
            if (!keyBytes(c, nameAt(i), buffer, length)) {
                failed = true;
                break;
            }
            piece.bytes.append(reinterpret_cast<const char*>(buffer.data()), size_t(length));
            piece.lengths.push_back(quint32(length));
        }
        ucol_close(c);
    });
    if (failed)
        return false;
    size_t total = 0;
    for (const Piece& piece : pieces)
        total += piece.bytes.size();
    // Spare zero bytes at the end, so that no comparison of tails can start
    // past the block.
    bytes.reserve(total + SortKeys::kPrefixBytes);
    offset.reserve(size_t(n) + 1);
    prefix.reserve(2 * size_t(n));
    for (Piece& piece : pieces) {
        size_t at = 0;
        for (quint32 length : piece.lengths) {
            offset.push_back(quint32(bytes.size()));
            for (size_t half = 0; half < 2; ++half) {
                quint64 p = 0;
                for (size_t i = 8 * half; i < 8 * half + 8; ++i)
                    p = (p << 8) | (i < length ? quint8(piece.bytes[at + i]) : 0u);
                prefix.push_back(p);
            }
            bytes.append(piece.bytes, at, length);
            at += length;
        }
        piece = Piece();
    }
    offset.push_back(quint32(bytes.size()));
    bytes.append(SortKeys::kPrefixBytes, '\0');
    return true;
}
#endif

} // namespace

SortKeys chineseSortKeys(int n, const std::function<const QString&(int)>& nameAt)
{
    SortKeys keys;
    keys.m_count = n;
#ifdef PFD_HAVE_ICU
    if (libraryKeys(n, nameAt, keys.m_bytes, keys.m_offset, keys.m_prefix))
        return keys;
    keys.m_bytes.clear();
    keys.m_offset.clear();
    keys.m_prefix.clear();
#endif
    const int parts = partsFor(n);
    std::vector<std::vector<QCollatorSortKey>> pieces(static_cast<size_t>(parts));
    inParts(parts, [&](int k) {
        QCollator collator;
        configureChineseCollator(collator);
        const int first = int(qint64(n) * k / parts);
        const int end = int(qint64(n) * (k + 1) / parts);
        std::vector<QCollatorSortKey>& piece = pieces[size_t(k)];
        piece.reserve(size_t(end - first));
        for (int i = first; i < end; ++i)
            piece.push_back(collator.sortKey(nameAt(i)));
    });
    if (parts == 1) {
        keys.m_collatorKeys = std::move(pieces.front());
        return keys;
    }
    keys.m_collatorKeys.reserve(size_t(n));
    for (std::vector<QCollatorSortKey>& piece : pieces) {
        std::move(piece.begin(), piece.end(), std::back_inserter(keys.m_collatorKeys));
        piece.clear();
        piece.shrink_to_fit();
    }
    return keys;
}

} // namespace pfd
