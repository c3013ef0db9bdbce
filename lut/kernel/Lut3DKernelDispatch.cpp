/*
 * Picks the kernel once: start from the portable reference, then upgrade one
 * instruction set at a time in order of preference.
 */
#include "lut/kernel/Lut3DKernel.h"

#include <initializer_list>

const Lut3DKernelOps* Lut3DKernelGet(Lut3DKernelVariant variant)
{
    switch (variant) {
    case Lut3DKernelVariant::Reference:
        return &kLut3DKernelReference;
    default:
        return nullptr;
    }
}

const Lut3DKernelOps* Lut3DKernelActive()
{
    static const Lut3DKernelOps* const active = [] {
        const Lut3DKernelOps* best = &kLut3DKernelReference;
        for (Lut3DKernelVariant v :
             {Lut3DKernelVariant::SSE41, Lut3DKernelVariant::AVX2, Lut3DKernelVariant::NEON}) {
            if (const Lut3DKernelOps* ops = Lut3DKernelGet(v))
                best = ops;
        }
        return best;
    }();
    return active;
}
