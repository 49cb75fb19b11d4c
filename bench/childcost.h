#pragma once

// What a child program cost: the benchmarks run the tool a user would pick as a child and read
// its peak memory and CPU time from the kernel, as `time -v` would.

#include <QByteArray>
#include <QStringList>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <vector>

extern char **environ;

namespace Bench {

struct ChildCost {
    double peakMB = -1; // -1: the child failed
    double cpuSeconds = 0;
    bool ok() const { return peakMB >= 0; }
};

// Runs `args` (the program first, looked up on the PATH) and waits for it.
inline ChildCost runChild(const QStringList &args)
{
    std::vector<QByteArray> bytes;
    for (const QString &a : args)
        bytes.push_back(a.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
        return {};
    int status = 0;
    rusage usage {};
    if (::wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {};
    auto seconds = [](const timeval &t) { return t.tv_sec + t.tv_usec / 1e6; };
    return { static_cast<double>(usage.ru_maxrss) / 1024.0,
             seconds(usage.ru_utime) + seconds(usage.ru_stime) };
}

} // namespace Bench
