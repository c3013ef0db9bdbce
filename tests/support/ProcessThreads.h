// The threads of this process as the kernel lists them (-1 when it cannot
// tell), for tests that check that no thread outlives its owner.
#ifndef TESTS_SUPPORT_PROCESSTHREADS_H
#define TESTS_SUPPORT_PROCESSTHREADS_H

#include <dirent.h>

inline int processThreads()
{
    DIR* dir = opendir("/proc/self/task");
    if (!dir)
        return -1;
    int count = 0;
    while (dirent* entry = readdir(dir))
        count += entry->d_name[0] != '.';
    closedir(dir);
    return count;
}

#endif
