// How long a process takes to load the library, which defines all types: in fresh processes, the median of
// many.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

/// In a process of its own; negative when the library cannot be loaded.
double millisecondsToLoad() {
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    if (fork() == 0) {
        auto const start = std::chrono::steady_clock::now();
        bool const isLoaded = dlopen(LOAM_LIBRARY, RTLD_NOW) != nullptr;
        std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
        double const result = isLoaded ? took.count() : -1;
        _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    double result = -1;
    if (read(ends[0], &result, sizeof result) != sizeof result) {
        result = -1;
    }
    close(ends[0]);
    close(ends[1]);
    wait(nullptr);
    return result;
}

} // namespace

int main() {
    std::vector<double> times(101);
    for (double& each : times) {
        each = millisecondsToLoad();
    }
    std::sort(times.begin(), times.end());
    if (times.front() < 0) {
        std::fprintf(stderr, "cannot load %s\n", LOAM_LIBRARY);
        return 1;
    }
    std::printf("load the library          median %.2f ms, fastest %.2f ms\n", times[times.size() / 2],
                times.front());
    return 0;
}
