// Row writing shared by both platform files of the directory service, so a
// listing on Windows and on POSIX reads alike to the dialog: the same JSON
// shape, the same kind text and the same exact kilobyte size text.
#include "dirservice_p.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>


namespace {

const char kPlainFileKind[] = "文件";
const char kFileKindTail[] = " 文件";

// Length of the well-formed UTF-8 sequence starting at s[i], or 0 when the
// bytes there are not one (overlong forms, surrogates and code points past
// U+10FFFF count as malformed, as a JSON reader would see them).
std::size_t utf8SequenceLength(const unsigned char* s, std::size_t i, std::size_t n)
{
    const unsigned char c = s[i];
    auto cont = [&](std::size_t k, unsigned char lo, unsigned char hi) {
        return i + k < n && s[i + k] >= lo && s[i + k] <= hi;
    };
    if (c >= 0xC2 && c <= 0xDF)
        return cont(1, 0x80, 0xBF) ? 2 : 0;
    if (c == 0xE0)
        return cont(1, 0xA0, 0xBF) && cont(2, 0x80, 0xBF) ? 3 : 0;
    if ((c >= 0xE1 && c <= 0xEC) || c == 0xEE || c == 0xEF)
        return cont(1, 0x80, 0xBF) && cont(2, 0x80, 0xBF) ? 3 : 0;
    if (c == 0xED)
        return cont(1, 0x80, 0x9F) && cont(2, 0x80, 0xBF) ? 3 : 0;
    if (c == 0xF0)
        return cont(1, 0x90, 0xBF) && cont(2, 0x80, 0xBF) && cont(3, 0x80, 0xBF) ? 4 : 0;
    if (c >= 0xF1 && c <= 0xF3)
        return cont(1, 0x80, 0xBF) && cont(2, 0x80, 0xBF) && cont(3, 0x80, 0xBF) ? 4 : 0;
    if (c == 0xF4)
        return cont(1, 0x80, 0x8F) && cont(2, 0x80, 0xBF) && cont(3, 0x80, 0xBF) ? 4 : 0;
    return 0;
}

// Appends the body of a JSON string (without quotes). Returns false, having
// appended part of it, when the bytes are not well-formed UTF-8.
bool appendEscaped(QByteArray& out, std::string_view text)
{
    static const char hex[] = "0123456789abcdef";
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::size_t run = 0; // start of the bytes not yet copied
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
            ++i;
            continue;
        }
        if (c >= 0x80) {
            const std::size_t len = utf8SequenceLength(s, i, n);
            if (len == 0)
                return false;
            i += len;
            continue;
        }
        out.append(text.data() + run, int(i - run));
        if (c == '"' || c == '\\') {
            const char esc[2] = {'\\', char(c)};
            out.append(esc, 2);
        } else {
            const char esc[6] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 0xF]};
            out.append(esc, 6);
        }
        run = ++i;
    }
    out.append(text.data() + run, int(n - run));
    return true;
}

void appendJsonString(QByteArray& out, std::string_view text)
{
    const int start = out.size();
    out.append('"');
    if (!appendEscaped(out, text)) {
        // A name that is not UTF-8 (written by another system): take it the
        // way the rest of the application reads file names, which gives
        // well-formed UTF-8 again. Rare, so the extra copies do not matter.
        out.truncate(start + 1);
        const QByteArray decoded =
            QFile::decodeName(QByteArray(text.data(), int(text.size()))).toUtf8();
        if (!appendEscaped(out, std::string_view(decoded.constData(), std::size_t(decoded.size())))) {
            out.truncate(start + 1);
            out.append("\\ufffd");
        }
    }
    out.append('"');
}

// Writes the JSON string of text at p (quotes included) and advances p; p
// must have room for 6 * text.size() + 2 bytes. False, with p at some point
// inside, when text is not well-formed UTF-8.
bool writeJsonString(char*& p, std::string_view text)
{
    static const char hex[] = "0123456789abcdef";
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    *p++ = '"';
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
            *p++ = char(c);
            ++i;
        } else if (c >= 0x80) {
            const std::size_t len = utf8SequenceLength(s, i, n);
            if (len == 0)
                return false;
            for (std::size_t k = 0; k < len; ++k)
                *p++ = char(s[i + k]);
            i += len;
        } else {
            *p++ = '\\';
            if (c == '"' || c == '\\') {
                *p++ = char(c);
            } else {
                *p++ = 'u';
                *p++ = '0';
                *p++ = '0';
                *p++ = hex[c >> 4];
                *p++ = hex[c & 0xF];
            }
            ++i;
        }
    }
    *p++ = '"';
    return true;
}

char* writeUnsigned(char* p, quint64 v)
{
    char tmp[24];
    int n = 0;
    do {
        tmp[n++] = char('0' + v % 10);
        v /= 10;
    } while (v != 0);
    while (n > 0)
        *p++ = tmp[--n];
    return p;
}

char* writeTwoDigits(char* p, int v)
{
    *p++ = char('0' + v / 10);
    *p++ = char('0' + v % 10);
    return p;
}

} // namespace

namespace dirservice {
namespace detail {

bool isWellFormedUtf8(std::string_view text)
{
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        if (s[i] < 0x80) {
            ++i;
            continue;
        }
        const std::size_t len = utf8SequenceLength(s, i, n);
        if (len == 0)
            return false;
        i += len;
    }
    return true;
}

void appendRow(QByteArray& out, std::string_view name, std::string_view time,
               std::string_view kind, std::string_view size, std::string_view target,
               std::string_view label)
{
    // The caller opened the array with '['; every row after the first needs a comma.
    const bool first = out.size() <= 1;
    const std::string_view fields[6] = {name, time, kind, size, target, label};

    // Usual case: the whole row written in place into storage sized for the
    // worst escaping, one size check per row instead of one per piece.
    std::size_t worst = 32;
    for (const std::string_view& field : fields)
        worst += 6 * field.size();
    const int start = out.size();
    if (worst < std::size_t(1) << 24) {
        const int needed = start + int(worst);
        if (needed > out.capacity())
            out.reserve(qMax(needed, out.capacity() < (1 << 29) ? out.capacity() * 2 : needed));
        out.resize(needed);
        char* const begin = out.data();
        char* p = begin + start;
        if (!first)
            *p++ = ',';
        *p++ = '[';
        bool ok = true;
        for (int i = 0; i < 6 && ok; ++i) {
            if (i > 0)
                *p++ = ',';
            ok = writeJsonString(p, fields[i]);
        }
        if (ok) {
            *p++ = ']';
            out.resize(int(p - begin));
            return;
        }
        out.resize(start);
    }

    // Some field is not UTF-8 (or absurdly long): piece by piece.
    out.append(first ? "[" : ",[", first ? 1 : 2);
    appendJsonString(out, name);
    out.append(',');
    appendJsonString(out, time);
    out.append(',');
    appendJsonString(out, kind);
    out.append(',');
    appendJsonString(out, size);
    out.append(',');
    appendJsonString(out, target);
    out.append(',');
    appendJsonString(out, label);
    out.append(']');
}

// Kilobytes written exactly: bytes / 1024 always has a terminating decimal
// fraction of at most ten digits, so the dialog can show 1536 bytes as
// 1.50 KB and 512 bytes as 512 B without rounding surprises.
// buf needs room for 33 characters.
int formatSizeText(char* buf, quint64 bytes)
{
    char* p = writeUnsigned(buf, bytes >> 10);
    const quint64 rest = bytes & 1023;
    if (rest != 0) {
        // rest / 1024 == rest * 9765625 / 10^10, an exact ten-digit fraction.
        quint64 frac = rest * 9765625ULL;
        int digits = 10;
        while (frac % 10 == 0) {
            frac /= 10;
            --digits;
        }
        *p++ = '.';
        for (int k = digits - 1; k >= 0; --k) {
            p[k] = char('0' + frac % 10);
            frac /= 10;
        }
        p += digits;
    }
    *p++ = 'K';
    *p++ = 'B';
    return int(p - buf);
}

// "yyyy-MM-dd hh:mm:ss"; buf needs room for 40 characters.
int formatDateTime(char* buf, qint64 year, int month, int day, int hour, int minute,
                   int second)
{
    char* p = buf;
    if (year >= 0 && year <= 9999) {
        const int y = int(year);
        p = writeTwoDigits(p, y / 100);
        p = writeTwoDigits(p, y % 100);
    } else {
        if (year < 0) {
            *p++ = '-';
            p = writeUnsigned(p, quint64(-(year + 1)) + 1);
        } else {
            p = writeUnsigned(p, quint64(year));
        }
    }
    *p++ = '-';
    p = writeTwoDigits(p, month);
    *p++ = '-';
    p = writeTwoDigits(p, day);
    *p++ = ' ';
    p = writeTwoDigits(p, hour);
    *p++ = ':';
    p = writeTwoDigits(p, minute);
    *p++ = ':';
    p = writeTwoDigits(p, second);
    return int(p - buf);
}

// The kind text of an ordinary file from its name's bytes. Only a dot after
// the first character starts a suffix: a leading dot marks a hidden name on
// POSIX, not a type, and a trailing dot gives no suffix at all.
void fileKindBytes(std::string_view name, std::string& kind)
{
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
        kind.assign(kPlainFileKind);
        return;
    }
    const std::string_view suffix = name.substr(dot + 1);
    bool ascii = true;
    for (const char c : suffix) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            ascii = false;
            break;
        }
    }
    if (ascii) {
        // Upper-casing a few ASCII bytes costs less than any lookup.
        kind.assign(suffix);
        for (char& c : kind) {
            if (c >= 'a' && c <= 'z')
                c = char(c - 'a' + 'A');
        }
        kind.append(kFileKindTail);
        return;
    }
    // Other suffixes need Unicode case rules; a folder rarely holds more than
    // a handful of distinct ones, so a small per-thread cache keeps the
    // QString round trip off the per-row path.
    thread_local std::vector<std::pair<std::string, std::string>> cache;
    for (const auto& entry : cache) {
        if (entry.first == suffix) {
            kind = entry.second;
            return;
        }
    }
    const QByteArray upper =
        QString::fromUtf8(suffix.data(), int(suffix.size())).toUpper().toUtf8();
    kind.assign(upper.constData(), std::size_t(upper.size()));
    kind.append(kFileKindTail);
    if (cache.size() >= 32)
        cache.erase(cache.begin());
    cache.emplace_back(std::string(suffix), kind);
}

} // namespace detail

QString fileKindText(const QString& fileName)
{
    // Callers may pass a path; only the last part names the file.
    int slash = fileName.lastIndexOf(QLatin1Char('/'));
#ifdef Q_OS_WIN
    slash = qMax(slash, fileName.lastIndexOf(QLatin1Char('\\')));
#endif
    const QByteArray name = fileName.mid(slash + 1).toUtf8();
    std::string kind;
    detail::fileKindBytes(std::string_view(name.constData(), std::size_t(name.size())), kind);
    return QString::fromUtf8(kind.data(), int(kind.size()));
}

} // namespace dirservice
