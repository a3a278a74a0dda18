// Measuring a step in a child process of its own: the step's memory and time are then its own,
// not mixed with what earlier steps left behind. Linux only (fork, /proc).
#ifndef KXBENCHCHILD_H
#define KXBENCHCHILD_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <type_traits>

// A field of /proc/self/status in KiB ("VmRSS", "VmHWM"); -1 when unavailable.
inline long kxStatusKiB(const char* pszKey)
{
    long nValue = -1;
    FILE* pFile = std::fopen("/proc/self/status", "r");
    if (!pFile)
        return nValue;
    char szLine[256];
    const size_t nKey = std::strlen(pszKey);
    while (std::fgets(szLine, sizeof szLine, pFile))
        if (std::strncmp(szLine, pszKey, nKey) == 0 && szLine[nKey] == ':')
            std::sscanf(szLine + nKey + 1, "%ld", &nValue);
    std::fclose(pFile);
    return nValue;
}

// Runs `measure` in a forked child and returns the record it made there; a default record when
// the child could not run or report.
template <class T> T kxMeasureInChild(const std::function<T()>& measure)
{
    static_assert(std::is_trivially_copyable<T>::value, "the record crosses a pipe");
    int fds[2];
    if (pipe(fds) != 0)
        return T();
    const pid_t pid = fork();
    if (pid == 0)
    {
        close(fds[0]);
        const T record = measure();
        const bool bOk =
            write(fds[1], &record, sizeof record) == static_cast<ssize_t>(sizeof record);
        _exit(bOk ? 0 : 1);
    }
    close(fds[1]);
    T record;
    if (pid < 0 || read(fds[0], &record, sizeof record) != static_cast<ssize_t>(sizeof record))
        record = T();
    close(fds[0]);
    if (pid > 0)
        waitpid(pid, nullptr, 0);
    return record;
}

#endif // KXBENCHCHILD_H
