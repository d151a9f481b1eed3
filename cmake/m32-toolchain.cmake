# 32-bit x86 build on an x86_64 Linux host, the word size the agent was first written for.
# Needs a multilib compiler (Debian: g++-multilib). Host and target stay the same system, so
# the tests run directly.
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
