#include "JsonWriter.h"

namespace clouddisk {

namespace {

const char kHex[] = "0123456789abcdef";

char* escapeUnit(char* p, ushort u)
{
    *p++ = '\\';
    *p++ = 'u';
    *p++ = kHex[(u >> 12) & 0xf];
    *p++ = kHex[(u >> 8) & 0xf];
    *p++ = kHex[(u >> 4) & 0xf];
    *p++ = kHex[u & 0xf];
    return p;
}

} // namespace

void appendJsonString(QByteArray& out, const QString& text)
{
    const int start = out.size();
    const int n = text.size();
    // At most six bytes for one UTF-16 unit (an escape), and the quotes.
    const int worst = start + 6 * n + 2;
    if (out.capacity() < worst)
        out.reserve(qMax(worst, 2 * out.capacity()));
    out.resize(worst);
    char* p = out.data() + start;
    const ushort* s = reinterpret_cast<const ushort*>(text.constData());
    const ushort* end = s + n;
    *p++ = '"';
    while (s < end) {
        const ushort u = *s++;
        if (u < 0x80) {
            if (u >= 0x20 && u != '"' && u != '\\') {
                *p++ = char(u);
                continue;
            }
            *p++ = '\\';
            switch (u) {
            case '"': *p++ = '"'; break;
            case '\\': *p++ = '\\'; break;
            case '\b': *p++ = 'b'; break;
            case '\f': *p++ = 'f'; break;
            case '\n': *p++ = 'n'; break;
            case '\r': *p++ = 'r'; break;
            case '\t': *p++ = 't'; break;
            default:
                p = escapeUnit(p - 1, u);
                break;
            }
        } else if (u < 0x800) {
            *p++ = char(0xc0 | (u >> 6));
            *p++ = char(0x80 | (u & 0x3f));
        } else if (u >= 0xd800 && u < 0xe000) {
            if (u < 0xdc00 && s < end && *s >= 0xdc00 && *s < 0xe000) {
                const uint c = 0x10000 + ((uint(u) - 0xd800) << 10) + (uint(*s++) - 0xdc00);
                *p++ = char(0xf0 | (c >> 18));
                *p++ = char(0x80 | ((c >> 12) & 0x3f));
                *p++ = char(0x80 | ((c >> 6) & 0x3f));
                *p++ = char(0x80 | (c & 0x3f));
            } else {
                // Not a character: kept as the unit it is, which a JSON
                // reader turns back into the same string.
                p = escapeUnit(p, u);
            }
        } else {
            *p++ = char(0xe0 | (u >> 12));
            *p++ = char(0x80 | ((u >> 6) & 0x3f));
            *p++ = char(0x80 | (u & 0x3f));
        }
    }
    *p++ = '"';
    out.resize(int(p - out.constData()));
}

JsonWriter::JsonWriter(int reserve)
{
    m_out.reserve(reserve);
}

JsonWriter& JsonWriter::number(qint64 value)
{
    char buf[24];
    char* end = buf + sizeof buf;
    char* p = end;
    // Negative values keep their magnitude unsigned, so the smallest one too.
    quint64 v = value < 0 ? quint64(0) - quint64(value) : quint64(value);
    do {
        *--p = char('0' + v % 10);
        v /= 10;
    } while (v);
    if (value < 0)
        *--p = '-';
    m_out.append(p, int(end - p));
    return *this;
}

} // namespace clouddisk
