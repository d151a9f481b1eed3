# Holds every agent source to Mac OS X 10.4 on 32-bit Intel: each is checked for
# i386-apple-macosx10.4 with the build machine's clang against the cross toolchain's macOS
# headers, so that a call newer than 10.4 fails by name ("'clock_gettime' is only available on
# macOS 10.12 or newer"). Syntax only (-fsyntax-only): parsed and type-checked, availability
# included, but no code is generated and nothing linked; no current toolchain links a 32-bit Mac
# program.
find_program(ZEB_HOST_CLANGXX NAMES clang++-14 clang++ NO_CMAKE_FIND_ROOT_PATH REQUIRED)

set(headers ${ZEB_ZIG_ROOT}/lib)
set(scratch ${CMAKE_BINARY_DIR}/macos-10.4)
# Before 10.5, i386's time.h includes machine/_limits.h, which these headers lack.
file(WRITE ${scratch}/include/machine/_limits.h "#include <i386/_limits.h>\n")

# The agent's own warnings, as errors: this build is one of the project's own checks.
get_target_property(warnings zeb-warnings INTERFACE_COMPILE_OPTIONS)
get_target_property(strictWarnings zeb-strict-warnings INTERFACE_COMPILE_OPTIONS)
set(flags
  -target i386-apple-macosx10.4 -std=c++20 -fsyntax-only -Werror -Werror=unguarded-availability
  ${warnings} ${strictWarnings}
  # The C++ library's headers as zig configures them, but with their availability marks on, so
  # that what the system's libc++ gained late fails too (std::optional::value, 10.13). They know
  # no system before libc++ shipped (10.7); 10.4 has none, and the agent would carry its own.
  -D_LIBCPP_ABI_VERSION=1 -D_LIBCPP_ABI_NAMESPACE=__1
  -nostdlibinc -nostdinc++
  -isystem ${headers}/libcxx/include -isystem ${headers}/libcxxabi/include
  -isystem ${scratch}/include
  -isystem ${headers}/libc/include/x86_64-macos.11-none
  -isystem ${headers}/libc/include/any-macos.11-any
  -isystem ${headers}/libc/include/any-macos-any
  -I ${PROJECT_SOURCE_DIR})

get_target_property(sources zeb-agent-core SOURCES)
list(APPEND sources ${PROJECT_SOURCE_DIR}/app/main.cpp)
file(GLOB_RECURSE agentHeaders CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/app/*.h ${PROJECT_SOURCE_DIR}/shell/*.h
  ${PROJECT_SOURCE_DIR}/signals/*.h ${PROJECT_SOURCE_DIR}/runtime/*.h)
set(stamps)
foreach(source IN LISTS sources)
  cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR} NORMALIZE)
  cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE name)
  string(REPLACE "/" "-" stamp ${name})
  set(stamp ${scratch}/${stamp}.checked)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${ZEB_HOST_CLANGXX} ${flags} ${source}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${source} ${agentHeaders}
    COMMENT "Holding ${name} to Mac OS X 10.4 (i386)"
    VERBATIM)
  list(APPEND stamps ${stamp})
endforeach()
add_custom_target(macos-10.4 ALL DEPENDS ${stamps})
