#pragma once
// The share of one core a process uses while its Qt event loop runs, measured in windows: the
// live benchmarks set a streaming client next to an idle loop with these.

#include <QEventLoop>
#include <QTimer>

#include <sys/resource.h>

#include <chrono>
#include <vector>

namespace ferro::bench {

inline double CpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Runs the event loop for `Secs`, sleeping whenever there is nothing to do.
inline void Spin(double Secs) {
    QEventLoop loop;
    QTimer::singleShot(int(Secs * 1000), &loop, &QEventLoop::quit);
    loop.exec();
}

// Percent of one core used while the event loop runs, one figure per window.
inline std::vector<double> CpuPercentInWindows(int Windows, double Secs) {
    std::vector<double> out;
    for (int i = 0; i < Windows; ++i) {
        const double c0 = CpuSeconds();
        const auto t0 = std::chrono::steady_clock::now();
        Spin(Secs);
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        out.push_back(100.0 * (CpuSeconds() - c0) / wall);
    }
    return out;
}

} // namespace ferro::bench
