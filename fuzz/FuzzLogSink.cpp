// The library's messages end here instead of in the system log: formatting
// and emitting still run on every input, without the cost of real output.
#include <cstring>

extern "C" int __android_log_write(int prio, const char* tag, const char* text)
{
    // Reading the whole text lets the sanitizers check it is terminated.
    return prio + static_cast<int>(std::strlen(tag) + std::strlen(text) > 0);
}
