#pragma once
// Whether an upload's body keeps moving: at least a given number of bytes in
// every window of a given length, counted from its first piece. A sender
// that trickles (a byte now and then keeps the connection from ever being
// idle) is told apart from a slow but working network. No clock of its own:
// the caller passes the time of each piece.
#include <QtGlobal>

namespace clouddiskd {

class BodyPace
{
public:
    BodyPace(qint64 windowMs, qint64 windowBytes) : m_windowMs(windowMs), m_windowBytes(windowBytes) {}

    // Counts size bytes arriving at nowMs (a steady clock). True when a
    // window has ended with fewer than the window's bytes; a new window
    // begins with this piece either way.
    bool tooSlow(qint64 nowMs, qint64 size)
    {
        if (!m_started) {
            m_started = true;
            m_startMs = nowMs;
        }
        m_bytes += size;
        m_total += size;
        if (nowMs - m_startMs < m_windowMs)
            return false;
        const bool slow = m_bytes < m_windowBytes;
        m_startMs = nowMs;
        m_bytes = 0;
        return slow;
    }

    // Every byte counted so far.
    qint64 total() const { return m_total; }

private:
    qint64 m_windowMs;
    qint64 m_windowBytes;
    bool m_started = false;
    qint64 m_startMs = 0;
    qint64 m_bytes = 0;
    qint64 m_total = 0;
};

} // namespace clouddiskd
