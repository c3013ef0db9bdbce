#include "core/io/ZeTemporaryFile.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kMinimumRun = 6;
constexpr int kAttempts = 256;

// Minimal-standard multiplicative generator, one per thread, seeded from the
// clock, the process and the thread so that neighbours rarely collide.
unsigned int nextRandom()
{
    thread_local unsigned long long state = 0;
    if (state == 0) {
        const unsigned long long t = static_cast<unsigned long long>(
            std::chrono::steady_clock::now().time_since_epoch().count());
        const unsigned long long mix =
            t ^ (static_cast<unsigned long long>(::getpid()) << 20) ^
            reinterpret_cast<unsigned long long>(&state);
        state = mix % 2147483646ull + 1;
    }
    state = state * 16807ull % 2147483647ull;
    return static_cast<unsigned int>(state);
}

char randomLetter()
{
    const unsigned int v = (nextRandom() & 0xffff) % 52;
    return static_cast<char>(v < 26 ? 'A' + v : 'a' + (v - 26));
}

} // namespace

int ZeCreateUniqueFile(const CZeByteArray& nameTemplate, unsigned int permissions,
                       CZeByteArray* name, int* errorNumber)
{
    CZeByteArray path = nameTemplate;
    int run = 0;
    for (int i = path.size() - 1; i >= 0 && path.at(i) == 'X'; --i)
        ++run;
    if (run < kMinimumRun) {
        path.append(".XXXXXX");
        run = kMinimumRun;
    }
    if (path.size() < run) { // the append failed for lack of memory
        *errorNumber = ENOMEM;
        return -1;
    }
    char* letters = path.data() + path.size() - run;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        for (int i = 0; i < run; ++i)
            letters[i] = randomLetter();
        int fd;
        do {
            fd = ::open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                        static_cast<mode_t>(permissions));
        } while (fd < 0 && errno == EINTR);
        if (fd >= 0) {
            *name = path;
            return fd;
        }
        if (errno != EEXIST) {
            *errorNumber = errno;
            return -1;
        }
    }
    *errorNumber = EEXIST;
    return -1;
}
