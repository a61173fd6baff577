#pragma once

// KR_WIDE_LOOP before a function with a plain loop: the compiler makes it a second time for processors with
// registers of 32 bytes, and the program takes that one where it can. It must not be a template. The results
// are the same to the last bit: multiplications and additions aren't fused.
//
// The sanitizers' set-up comes after the choice between the two, which they can't stand.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)        \
    && !defined(__SANITIZE_THREAD__)
#define KR_WIDE_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define KR_WIDE_LOOP
#endif
