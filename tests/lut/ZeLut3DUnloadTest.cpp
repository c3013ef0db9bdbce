// A host that loads the library, uses an effect with workers and unloads the
// library again, over and over. Once ZecLut3DDestroyEffect has returned, no
// worker of that effect may run any code of the library: the threads must be
// gone, or the next unload pulls the code from under them. This program does
// not link the library; it loads the shared object by path.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <thread>

#include "ZeLut3D.h"
#include "support/ProcessThreads.h"

namespace {

// Under a user-mode emulator a joined thread's host thread may still be
// winding down in the emulator's own code; there the count may take a
// moment to settle. On a real system it must be exact at once.
bool threadsAt(int baseline)
{
    const bool emulated = std::getenv("ZE_TEST_UNDER_EMULATOR") != nullptr;
    for (int i = 0; emulated && i < 1000 && processThreads() != baseline; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return processThreads() == baseline;
}

using Create = decltype(&ZecLut3DCreateEffect);
using Destroy = decltype(&ZecLut3DDestroyEffect);

TEST(ZeLut3DUnload, WorkersAreGoneWhenDestroyReturns)
{
    // A first thread that comes and goes lets any runtime helper thread (a
    // sanitizer's, say) appear before the count is taken.
    std::thread([] {}).join();
    // An emulator may also start threads of its own the first time a library
    // is mapped; one warm-up cycle lets those appear before the count.
    if (std::getenv("ZE_TEST_UNDER_EMULATOR") != nullptr) {
        void* library = dlopen(ZE_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        reinterpret_cast<Destroy>(dlsym(library, "ZecLut3DDestroyEffect"))(
            reinterpret_cast<Create>(dlsym(library, "ZecLut3DCreateEffect"))(16));
        dlclose(library);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    const int baseline = processThreads();
    for (int cycle = 0; cycle < 500; ++cycle) {
        void* library = dlopen(ZE_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        const auto create = reinterpret_cast<Create>(dlsym(library, "ZecLut3DCreateEffect"));
        const auto destroy = reinterpret_cast<Destroy>(dlsym(library, "ZecLut3DDestroyEffect"));
        ASSERT_TRUE(create && destroy);
        Lut3DEffect* effect = create(16);
        ASSERT_NE(effect, nullptr);
        destroy(effect);
        ASSERT_TRUE(threadsAt(baseline)) << "cycle " << cycle << ": " << processThreads();
        ASSERT_EQ(dlclose(library), 0);
    }
}

} // namespace
