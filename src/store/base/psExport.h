#pragma once

// PS_API marks what the shared library exports; everything else is hidden. The build defines PSCOLLECTIONS_STATIC for
// users of the static library.
#if defined(PSCOLLECTIONS_STATIC)
#define PS_API
#else
#define PS_API [[gnu::visibility("default")]]
#endif
// Marks what an exported class does not export.
#define PS_HIDDEN [[gnu::visibility("hidden")]]

// Tell the compiler which way a branch mostly goes, and what to inline wherever it is called.
#define PS_LIKELY(condition) __builtin_expect(static_cast<bool>(condition), true)
#define PS_UNLIKELY(condition) __builtin_expect(static_cast<bool>(condition), false)
#define PS_ALWAYS_INLINE __attribute__((always_inline)) inline
