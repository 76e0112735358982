#include "cloudtask.h"

#include <QEventLoop>
#include <QTimer>

namespace pfd {
namespace cloud {

void letEventsRun(int ms)
{
    // A local loop rather than a sleep: the window keeps painting and
    // timers keep firing for the whole wait, not only between sleeps.
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace cloud
} // namespace pfd
