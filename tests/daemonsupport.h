#pragma once
// Starts a helper server (Xvfb, dbus-daemon) for one test program, before
// the application object exists, and stops it at the end. The server tells
// where it listens by writing one line to a descriptor it is given. The
// server is told to stop when the test process ends in any way (a crash, a
// sanitizer's abort, a timeout's kill), so that it never outlives the test
// and keeps CTest waiting on its output.
#include <QByteArray>
#include <QString>
#include <QStringList>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace daemonsupport {

class Daemon
{
public:
    // args: the server's arguments; "%FD%" stands for the descriptor it
    // writes its line to. Waits at most timeoutMs for that line.
    Daemon(const QString& program, const QStringList& args, int timeoutMs = 15000)
    {
        int fds[2];
        if (pipe(fds) != 0)
            return;
        const QByteArray fd = QByteArray::number(fds[1]);
        std::vector<QByteArray> argv{program.toLocal8Bit()};
        for (QString a : args)
            argv.push_back(a.replace(QStringLiteral("%FD%"), QString::fromLatin1(fd)).toLocal8Bit());
        const pid_t parent = getpid();
        m_pid = fork();
        if (m_pid == 0) {
            close(fds[0]);
            setpgid(0, 0);
#ifdef __linux__
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (getppid() != parent)
                _exit(1);
#else
            (void)parent;
#endif
            std::vector<char*> raw;
            for (QByteArray& a : argv)
                raw.push_back(a.data());
            raw.push_back(nullptr);
            execvp(raw[0], raw.data());
            _exit(127);
        }
        close(fds[1]);
        pollfd p{fds[0], POLLIN, 0};
        while (!m_line.contains('\n') && poll(&p, 1, timeoutMs) > 0) {
            char buf[256];
            const ssize_t n = read(fds[0], buf, sizeof buf);
            if (n <= 0)
                break;
            m_line.append(buf, int(n));
        }
        close(fds[0]);
        m_line = m_line.trimmed();
    }
    ~Daemon()
    {
        if (m_pid > 0) {
            kill(-m_pid, SIGTERM);
            kill(m_pid, SIGTERM);
            int status = 0;
            waitpid(m_pid, &status, 0);
        }
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // The line the server wrote; empty when it did not start.
    QByteArray line() const { return m_line; }

private:
    pid_t m_pid = -1;
    QByteArray m_line;
};

} // namespace daemonsupport
