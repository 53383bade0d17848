#ifndef TAVIX_EXAMPLES_MACHINE_LOADMETER_H
#define TAVIX_EXAMPLES_MACHINE_LOADMETER_H

#include <tavix/tavix.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <vector>

// Measures how busy the processors are over some time, on threads of its own, and answers the call from
// there: the loop's thread serves other calls meanwhile.
class LoadMeter {
public:
    using Call = SharedPtr<Tavix::SharedObjectObserver::MethodInvocation>;

    // Answers what still is under way with an exception, and waits for the threads.
    ~LoadMeter();

    // On the loop's thread. Answers `call` after so many seconds with {"busyPercent", "seconds"}, or at once
    // with an exception.
    void measure(Call const& call, double seconds);

private:
    void run(Call const& call, double seconds);
    Tavix::Element* sample(double seconds);

    std::mutex _lock;
    std::condition_variable _ended;
    bool _ending = false; // guarded by _lock
    std::vector<std::future<void>> _running;
};

#endif
