#include "listing.h"

#include "pagerelease.h"
#include "pathstyle.h"
#include "pfdlog.h"
#include "TranMiUtilAction.h"

#include <QHash>

#include <climits>
#include <cstddef>
#include <cstring>
#include <list>
#include <initializer_list>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

// Texts that repeat from row to row are shared: one string per distinct
// kind text keeps a 100,000-row folder from holding 100,000 copies of
// "文件夹", and size texts repeat too (empty files, files of a fixed size).
// Up to bound distinct texts are remembered, so a folder of distinct sizes
// costs no more than without sharing.
class TextInterner
{
public:
    explicit TextInterner(int bound, std::initializer_list<const QString*> known = {})
        : m_bound(bound)
    {
        for (const QString* k : known) {
            m_keys.push_back(k->toUtf8());
            m_seen.insert(Key{m_keys.back().constData(), m_keys.back().size()}, *k);
        }
    }
    QString get(const char* p, int n)
    {
        const Key key{p, n};
        auto it = m_seen.constFind(key);
        if (it != m_seen.constEnd())
            return it.value();
        const QString s = QString::fromUtf8(p, n);
        if (m_seen.size() < m_bound) {
            // The key keeps bytes of its own: the answer's text may be given
            // back while the scan goes on.
            m_keys.push_back(QByteArray(p, n));
            m_seen.insert(Key{m_keys.back().constData(), n}, s);
        }
        return s;
    }

private:
    // A stretch of bytes in the answer (or in m_keys), compared by content;
    // looking one up allocates nothing.
    struct Key
    {
        const char* p;
        int n;
        bool operator==(const Key& o) const { return n == o.n && std::memcmp(p, o.p, size_t(n)) == 0; }
    };
    friend uint qHash(const Key& k, uint seed) { return qHashBits(k.p, size_t(k.n), seed); }

    int m_bound;
    std::list<QByteArray> m_keys; // the keys' bytes, at stable addresses
    QHash<Key, QString> m_seen;
};

// Empty items are common (no shortcut target, no drive label): they share
// one empty text rather than each allocating its own.
QString utf8Text(const char* s, int len)
{
    if (len == 0)
        return QString(QLatin1String(""));
    return QString::fromUtf8(s, len);
}

bool isDriveRootKind(const QString& type)
{
    return type == kindword::localDisk() || type == kindword::removableDisk()
           || type == kindword::ramDisk() || type == kindword::cdRom();
}

FileInfo makeRecord(QString fields[6], const QString& parentPrefix, bool driveList)
{
    FileInfo info;
    info.name = std::move(fields[0]);
    info.datetime = std::move(fields[1]);
    info.type = std::move(fields[2]);
    info.size = std::move(fields[3]);
    info.symLinkTarget = std::move(fields[4]);
    // One allocation: the path is the longest text of a record.
    info.path.reserve(parentPrefix.size() + 1 + info.name.size());
    info.path.append(parentPrefix).append(QLatin1Char('/')).append(info.name);
    if (driveList)
        info.displayName = fields[5] + QStringLiteral(" (%1)").arg(info.name);
    // Network drives keep the path built above: only fixed, removable, RAM
    // and optical drives are opened at their root.
    if (isDriveRootKind(info.type))
        info.path = pfd::driveRootPath(info.name);
    return info;
}

// A scanner for the one shape the directory service writes: an array of
// arrays of strings. Anything else (numbers, objects, rows that are not
// arrays, odd escapes) makes it give up, and the general JSON reader decides,
// so the result is always what the general reader would give.
class RowScanner
{
public:
    RowScanner(const QByteArray& json)
        : p(json.constData()), end(json.constData() + json.size()), releasedTo(json.constData())
    {
    }

    // Lets the scanner give back the pages of rows it has read, a megabyte
    // at a time, so that the answer's text and the records made from it are
    // never all in memory at once. Only for an answer the caller owns alone.
    void allowRelease() { mayRelease = true; }
    bool released() const { return releasedAny; }
    // Where the row (or the text after the last row) it stopped at begins.
    const char* stoppedAt() const { return rowStart; }
    const char* textEnd() const { return end; }

    bool scan(const QString& parentPrefix, bool driveList, QList<FileInfo>& out)
    {
        skipWs();
        if (!eat('['))
            return false;
        skipWs();
        if (eat(']'))
            return atEnd();
        out.reserve(int((end - p) / 96));
        QString fields[6];
        QString extra;
        TextInterner kinds(INT_MAX, {&kindword::folder(), &kindword::shortcut(), &kindword::localDisk(),
                                     &kindword::netDrive(), &kindword::removableDisk(),
                                     &kindword::ramDisk(), &kindword::cdRom()});
        TextInterner sizes(4096);
        // Files written together share their time text.
        char lastDate[32];
        int lastDateLength = -1;
        QString lastDateText;
        for (;;) {
            skipWs();
            rowStart = p;
            if (mayRelease && p - releasedTo >= kReleaseStep) {
                pfd::releasePages(releasedTo, p);
                releasedTo = p;
                releasedAny = true;
            }
            if (!eat('['))
                return false;
            int n = 0;
            skipWs();
            if (!eat(']')) {
                for (;;) {
                    skipWs();
                    const char* s = nullptr;
                    int len = 0;
                    bool escaped = false;
                    if (!rawString(s, len, escaped))
                        return false;
                    if (n < 6) {
                        if (escaped) {
                            if (!unescape(s, len, fields[n]))
                                return false;
                        } else if (n == 2) {
                            fields[n] = kinds.get(s, len);
                        } else if (n == 3) {
                            fields[n] = sizes.get(s, len);
                        } else if (n == 0) {
                            // Decoding sizes the text for one character per
                            // byte; a name with Chinese characters needs less.
                            // Shrinking that text in place would leave a small
                            // free gap beside every such name, so the name is
                            // copied out at its length and the wide decoding
                            // is given back whole, to be used for the next.
                            QString decoded = utf8Text(s, len);
                            if (decoded.size() < len)
                                fields[n] = QString(decoded.constData(), decoded.size());
                            else
                                fields[n] = std::move(decoded);
                        } else if (n == 1) {
                            if (lastDateLength != len || memcmp(lastDate, s, size_t(len)) != 0) {
                                lastDateText = utf8Text(s, len);
                                lastDateLength = -1;
                                if (len <= int(sizeof lastDate)) {
                                    memcpy(lastDate, s, size_t(len));
                                    lastDateLength = len;
                                }
                            }
                            fields[n] = lastDateText;
                        } else {
                            fields[n] = utf8Text(s, len);
                        }
                        if (!escaped && !validUtf8(s, len, fields[n]))
                            return false;
                    } else if (escaped ? !unescape(s, len, extra)
                                       : !validUtf8(s, len, QString::fromUtf8(s, len))) {
                        // Items past the sixth are not kept, but a bad one
                        // still makes the general reader reject the answer.
                        return false;
                    }
                    ++n;
                    skipWs();
                    if (eat(']'))
                        break;
                    if (!eat(','))
                        return false;
                }
            }
            for (int i = n; i < 6; ++i)
                fields[i].clear();
            out.append(makeRecord(fields, parentPrefix, driveList));
            skipWs();
            rowStart = p;
            if (eat(']'))
                return atEnd();
            if (!eat(','))
                return false;
        }
    }

private:
    static constexpr std::ptrdiff_t kReleaseStep = 1 << 20;

    const char* p;
    const char* end;
    const char* releasedTo;
    const char* rowStart = nullptr;
    bool mayRelease = false;
    bool releasedAny = false;

    void skipWs()
    {
        while (p < end && (*p == ' ' || *p == '\n' || *p == '\r' || *p == '\t'))
            ++p;
    }
    bool eat(char c)
    {
        if (p < end && *p == c) {
            ++p;
            return true;
        }
        return false;
    }
    bool atEnd()
    {
        skipWs();
        return p == end;
    }
    bool rawString(const char*& s, int& len, bool& escaped)
    {
        if (!eat('"'))
            return false;
        s = p;
        while (p < end && *p != '"') {
            const unsigned char c = static_cast<unsigned char>(*p);
            if (c < 0x20)
                return false;
            if (c == '\\') {
                escaped = true;
                if (++p == end)
                    return false;
            }
            ++p;
        }
        if (p == end)
            return false;
        len = int(p - s);
        ++p;
        return true;
    }
    // Invalid UTF-8 makes the general reader reject the whole document;
    // QString::fromUtf8 would silently replace it, so hand such text over.
    static bool validUtf8(const char* s, int len, const QString& decoded)
    {
        for (int i = 0; i < len; ++i) {
            if (static_cast<unsigned char>(s[i]) >= 0x80)
                return !decoded.contains(QChar(QChar::ReplacementCharacter));
        }
        return true;
    }
    static bool unescape(const char* s, int len, QString& out)
    {
        // Rare (quotes or backslashes in names): let the general reader
        // decode this one string exactly as it would.
        QByteArray doc;
        doc.reserve(len + 4);
        doc.append("[\"").append(s, len).append("\"]");
        QJsonParseError err;
        const QJsonDocument d = QJsonDocument::fromJson(doc, &err);
        if (err.error != QJsonParseError::NoError || !d.isArray())
            return false;
        out = d.array().at(0).toString();
        return true;
    }
};

// The general reader's records of a whole answer, after those in list;
// false (list untouched) when the answer is no array.
bool appendGeneral(const QByteArray& json, const QString& parentPrefix, bool driveList, QList<FileInfo>& list)
{
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &err);
    if (err.error != QJsonParseError::NoError || doc.isEmpty() || !doc.isArray())
        return false;
    const QJsonArray rows = doc.array();
    list.reserve(list.size() + rows.size());
    QString fields[6];
    for (const QJsonValue& row : rows) {
        if (!row.isArray())
            continue;
        const QJsonArray items = row.toArray();
        for (int i = 0; i < 6; ++i)
            fields[i] = items.at(i).toString();
        list.append(makeRecord(fields, parentPrefix, driveList));
    }
    return true;
}

QList<FileInfo> parseGeneral(const QByteArray& json, const QString& parentPrefix, bool driveList)
{
    QList<FileInfo> list;
    appendGeneral(json, parentPrefix, driveList, list);
    return list;
}

} // namespace

namespace pfd {

bool scanDirRows(const QByteArray& json, const QString& parentPrefix, bool driveList, QList<FileInfo>& out)
{
    out.clear();
    RowScanner scanner(json);
    if (scanner.scan(parentPrefix, driveList, out))
        return true;
    out.clear();
    return false;
}

QList<FileInfo> parseDirRows(const QByteArray& json, const QString& parentPrefix, bool driveList)
{
    QList<FileInfo> list;
    if (scanDirRows(json, parentPrefix, driveList, list))
        return list;
    return parseGeneral(json, parentPrefix, driveList);
}

QList<FileInfo> parseDirRowsReleasing(QByteArray& json, const QString& parentPrefix, bool driveList)
{
    QList<FileInfo> list;
    RowScanner scanner(json);
    // Borrowed text (no capacity of its own) and text another holder sees
    // keep every page.
    if (json.isDetached() && json.capacity() >= json.size())
        scanner.allowRelease();
    if (scanner.scan(parentPrefix, driveList, list))
        return list;
    if (!scanner.released())
        return parseGeneral(json, parentPrefix, driveList);
    // The rows before the one the scanner stopped at are what the general
    // reader makes of them, and the text before that row is gone: the rest
    // is given to the general reader as what it is, the rest of the same
    // array. It is a valid array exactly when the whole answer is one.
    const char* from = scanner.stoppedAt();
    QByteArray rest;
    rest.reserve(int(scanner.textEnd() - from) + 1);
    rest.append('[').append(from, int(scanner.textEnd() - from));
    json.clear();
    if (!appendGeneral(rest, parentPrefix, driveList, list))
        return QList<FileInfo>();
    return list;
}

QString listedFolder(QString path)
{
    // A folder is asked for without its trailing separator; the root of a
    // POSIX tree keeps its only "/".
    if (path.size() > 1 && (path.endsWith(QLatin1Char('\\')) || path.endsWith(QLatin1Char('/')))
        && pfd::isExistingDir(path))
        path.chop(1);
    return path;
}

QString listingPrefix(const QString& folder)
{
    QString prefix = folder;
    if (folder.endsWith(QLatin1String(":\\")))
        prefix.remove(QLatin1Char('\\'));
    else if (folder == QLatin1String("/"))
        prefix.clear(); // "/" + name, not "//" + name
    return prefix;
}

} // namespace pfd

QList<FileInfo> getFilesByPath(QString path)
{
    path = pfd::listedFolder(path);

    QString request = path;
    if (path.size() == 2 && path.at(1) == QLatin1Char(':'))
        request += QLatin1Char('\\');

    pfd::logInfo(QStringLiteral("文件对话框------调用Go接口获取数据开始"));
    QByteArray bytes = TranMiUtilAction::Instance()->ReadDirAll(request);
    pfd::logInfo(QStringLiteral("文件对话框------调用Go接口获取数据结束"));

    return pfd::parseDirRowsReleasing(bytes, pfd::listingPrefix(path), path == QLatin1String(":"));
}
