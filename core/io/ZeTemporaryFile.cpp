#include "core/io/ZeTemporaryFile.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <new>
#include <unistd.h>

#include "CZeThreadStorage.h"

namespace {
#if defined(__aarch64__)
// The kernel's large-file flag on arm64. Some C libraries define O_LARGEFILE
// as 0 where every offset is 64-bit; the flag is passed all the same so that
// the creation asks the same of every arm64 system.
constexpr int kLargeFile = 0400000;
#elif defined(O_LARGEFILE)
constexpr int kLargeFile = O_LARGEFILE;
#else
constexpr int kLargeFile = 0;
#endif
} // namespace

const int kZeUniqueFileOpenFlags = O_RDWR | O_CREAT | O_EXCL | kLargeFile | O_CLOEXEC;

namespace {

constexpr int kMinimumRun = 6;
constexpr uint32_t kSeed = 17;

// The generator's state is never 0, so it lives in the thread's slot itself
// (a null slot is one that was never set): nothing to allocate or free.
void keepState(void*) {}

// Never destroyed, so that threads ending during process exit still find it.
CZeThreadStorage* stateStorage()
{
    static CZeThreadStorage* storage = new (std::nothrow) CZeThreadStorage(keepState);
    return storage;
}

// Minimal standard generator: next = value * 16807 mod (2^31 - 1).
uint32_t nextRandom()
{
    CZeThreadStorage* storage = stateStorage();
    void** slot = storage ? storage->get() : nullptr;
    if (!slot && storage)
        slot = storage->set(reinterpret_cast<void*>(static_cast<uintptr_t>(kSeed)));
    // Without per-thread data (process exit) every call starts over.
    uint32_t state = slot ? static_cast<uint32_t>(reinterpret_cast<uintptr_t>(*slot)) : kSeed;
    state = static_cast<uint32_t>(static_cast<uint64_t>(state) * 16807u % 2147483647u);
    if (slot)
        *slot = reinterpret_cast<void*>(static_cast<uintptr_t>(state));
    return state;
}

// Moves the letters to the next combination, first position fastest: Z
// becomes a and carries into the next position, z becomes A, any other letter
// the next one. False when the last position carried: every name was tried.
bool advance(char* letters, int run)
{
    for (int i = 0; i < run; ++i) {
        char& c = letters[i];
        if (c == 'Z') {
            c = 'a';
            continue;
        }
        c = c == 'z' ? 'A' : static_cast<char>(c + 1);
        return true;
    }
    return false;
}

} // namespace

char ZeNextTemporaryLetter()
{
    const uint32_t v = (nextRandom() & 0xffff) % 52;
    return static_cast<char>(v < 26 ? 'A' + v : 'a' + (v - 26));
}

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
    if (path.size() < run || path.size() == 0) { // the append failed for lack of memory
        *errorNumber = ENOMEM;
        return -1;
    }
    char* letters = path.data() + path.size() - run;
    for (int i = run - 1; i >= 0; --i)
        letters[i] = ZeNextTemporaryLetter();
    for (;;) {
        int fd;
        do {
            fd = ::open(path.constData(), kZeUniqueFileOpenFlags, static_cast<mode_t>(permissions));
        } while (fd < 0 && errno == EINTR);
        if (fd >= 0) {
            *name = path;
            return fd;
        }
        if (errno != EEXIST) {
            *errorNumber = errno;
            return -1;
        }
        if (!advance(letters, run)) {
            *errorNumber = EEXIST;
            return -1;
        }
    }
}
