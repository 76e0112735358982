#pragma once
// Compact JSON written straight into bytes, for the service's large replies:
// a tree of tens of thousands of nodes goes from the query's rows to the
// bytes that are sent in one pass, without a document in between. Names are
// untrusted: every string is escaped so that any UTF-16 text, unpaired
// surrogates and control characters included, reads back unchanged.
#include "clouddisk_global.h"

#include <QByteArray>
#include <QString>

namespace clouddisk {

// Appends `text` as a quoted JSON string: '"', '\\' and the control
// characters below U+0020 escaped (\b \f \n \r \t, else \u00XX), an
// unpaired surrogate as \uXXXX, everything else as UTF-8.
CLOUDDISK_EXPORT void appendJsonString(QByteArray& out, const QString& text);

class CLOUDDISK_EXPORT JsonWriter
{
public:
    explicit JsonWriter(int reserve = 0);

    // Text that is JSON already: punctuation, keys with their colon.
    JsonWriter& raw(const char* json)
    {
        m_out.append(json);
        return *this;
    }
    JsonWriter& string(const QString& text)
    {
        appendJsonString(m_out, text);
        return *this;
    }
    JsonWriter& number(qint64 value);
    // A comma unless `first`, which it then clears.
    JsonWriter& separator(bool& first)
    {
        if (!first)
            m_out.append(',');
        first = false;
        return *this;
    }

    int size() const { return m_out.size(); }
    // Drops what was written after size() was `mark`.
    void truncate(int mark) { m_out.truncate(mark); }
    const QByteArray& bytes() const { return m_out; }
    QByteArray take() { return std::move(m_out); }

private:
    QByteArray m_out;
};

} // namespace clouddisk
