#pragma once

// The watch loop's idle pass wakes ten times a second with cold caches and TLBs, so what it
// costs is mostly the pages it touches. Functions on that path carry this mark: GCC and Clang
// gather them into one hot text section instead of leaving them spread over the binary.
#if defined(__GNUC__)
#define ZEB_IDLE_PATH [[gnu::hot]]
#else
#define ZEB_IDLE_PATH
#endif

// The rare work reached from that path (start-up, a launch, a session check) is kept out of it.
#if defined(__GNUC__)
#define ZEB_RARE_PATH [[gnu::cold]]
#else
#define ZEB_RARE_PATH
#endif
