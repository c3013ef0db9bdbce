/*
 * Picks the kernel once: start from the portable reference, then upgrade one
 * instruction set at a time in order of preference. The choice depends only
 * on what this build contains and what the CPU reports; nothing else (no
 * environment variable) can steer it. Tests and benchmarks name a variant
 * through Lut3DKernelGet, which applies the same CPU check.
 */
#include "lut/kernel/Lut3DKernel.h"

#include <cstring>

// Defined only in builds for their architecture (see lut/CMakeLists.txt).
extern const Lut3DKernelOps kLut3DKernelSSE41;
extern const Lut3DKernelOps kLut3DKernelAVX2;
extern const Lut3DKernelOps kLut3DKernelAVX512;
extern const Lut3DKernelOps kLut3DKernelNeon;

namespace {

#if defined(__x86_64__)
struct CpuFeatures {
    bool sse41, avx2, avx512;
};

// Read once; thread-safe through the function-local static.
const CpuFeatures& cpuFeatures()
{
    static const CpuFeatures features = [] {
        __builtin_cpu_init();
        // The AVX2 check includes the operating system's support for the
        // 256-bit register state.
        // Likewise the AVX-512 checks, for the 512-bit and mask state.
        return CpuFeatures{__builtin_cpu_supports("sse4.1") != 0,
                           __builtin_cpu_supports("avx2") != 0,
                           __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                               __builtin_cpu_supports("avx512vl") &&
                               __builtin_cpu_supports("avx512vbmi")};
    }();
    return features;
}
#endif

} // namespace

const Lut3DKernelOps* Lut3DKernelGet(Lut3DKernelVariant variant)
{
    switch (variant) {
    case Lut3DKernelVariant::Reference:
        return &kLut3DKernelReference;
#if defined(__x86_64__)
    case Lut3DKernelVariant::SSE41:
        return cpuFeatures().sse41 ? &kLut3DKernelSSE41 : nullptr;
    case Lut3DKernelVariant::AVX2:
        return cpuFeatures().avx2 ? &kLut3DKernelAVX2 : nullptr;
    case Lut3DKernelVariant::AVX512:
        return cpuFeatures().avx512 ? &kLut3DKernelAVX512 : nullptr;
#endif
#if defined(__aarch64__)
    case Lut3DKernelVariant::NEON: // Advanced SIMD is part of every arm64 CPU
        return &kLut3DKernelNeon;
#endif
    default:
        return nullptr;
    }
}

namespace {

// Every variant, the reference first, then in order of preference.
constexpr Lut3DKernelVariant kVariants[] = {Lut3DKernelVariant::Reference,
                                            Lut3DKernelVariant::SSE41, Lut3DKernelVariant::AVX2,
                                            Lut3DKernelVariant::AVX512, Lut3DKernelVariant::NEON};

} // namespace

const Lut3DKernelOps* Lut3DKernelFind(const char* name)
{
    for (Lut3DKernelVariant v : kVariants) {
        const Lut3DKernelOps* ops = Lut3DKernelGet(v);
        if (ops && name && std::strcmp(ops->name, name) == 0)
            return ops;
    }
    return nullptr;
}

bool Lut3DKernelPairGridNeeded()
{
    static const bool needed = [] {
        for (Lut3DKernelVariant v : kVariants) {
            const Lut3DKernelOps* ops = Lut3DKernelGet(v);
            if (ops && ops->usesPairGrid)
                return true;
        }
        return false;
    }();
    return needed;
}

const Lut3DKernelOps* Lut3DKernelActive()
{
    // The last variant this CPU runs; the reference always does.
    static const Lut3DKernelOps* const active = [] {
        const Lut3DKernelOps* best = nullptr;
        for (Lut3DKernelVariant v : kVariants)
            if (const Lut3DKernelOps* ops = Lut3DKernelGet(v))
                best = ops;
        return best;
    }();
    return active;
}
