#include <sensors/BackgroundThread.h>

#include <csignal>
#include <system_error>
#include <thread>

namespace krel5::modules::sensors {

bool startInBackground(std::function<void()> work)
{
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool isStarted = true;
    try {
        std::thread(std::move(work)).detach();
    } catch (std::system_error const&) {
        isStarted = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return isStarted;
}

} // namespace krel5::modules::sensors
