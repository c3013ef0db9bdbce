// Every fuzz target takes the library's messages through the message
// callback as well, reading each text whole so that the sanitizers check it
// is terminated.
#include <cstring>

#include "ZeLut3D.h"

namespace {

volatile size_t g_bytes = 0;

void readWhole(int, const char* tag, const char* text)
{
    g_bytes = g_bytes + std::strlen(tag) + std::strlen(text);
}

__attribute__((constructor)) void installSink()
{
    ZecLut3DSetMessageCallback(readWhole);
}

} // namespace
