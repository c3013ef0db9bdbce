/*
 * Common definitions of the ZeLutEffect core: the export macro and a few
 * fixed-width helpers shared by every public header.
 *
 *   class ZE_EXPORT CZeSomething { ... };   // visible outside libZeLutEffect.so
 *
 * The library is built with hidden visibility; only what carries ZE_EXPORT
 * (the five C functions and the core classes) is part of the ABI.
 */
#ifndef ZEGLOBAL_H
#define ZEGLOBAL_H

#if defined(__GNUC__) || defined(__clang__)
#define ZE_EXPORT __attribute__((visibility("default")))
#else
#define ZE_EXPORT
#endif

#ifdef __cplusplus
#define ZE_EXTERN_C extern "C"
#else
#define ZE_EXTERN_C
#endif

#endif /* ZEGLOBAL_H */
