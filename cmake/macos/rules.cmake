# CMake probes a Mac compiler's ABI with -Wl,-v, which zig's linker refuses; without the probe
# the pointer size stays unknown.
set(CMAKE_C_VERBOSE_FLAG "-v")
set(CMAKE_CXX_VERBOSE_FLAG "-v")
