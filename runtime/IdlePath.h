#pragma once

// The watch loop's idle pass wakes ten times a second with cold caches and TLBs, so what it
// costs is mostly the pages it touches. Functions on that path are marked hot: GCC and Clang
// gather them into one text section instead of leaving them spread over the binary. The rare
// work reached from that path (a launch, a session check) is marked cold and kept out of it.
#if defined(__GNUC__)
#define ZEB_IDLE_PATH [[gnu::hot]]
#define ZEB_RARE_PATH [[gnu::cold]]
#else
#define ZEB_IDLE_PATH
#define ZEB_RARE_PATH
#endif
