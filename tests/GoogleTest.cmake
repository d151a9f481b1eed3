# Where GoogleTest comes from: the installed libraries, or with ZEB_GTEST_FROM_SOURCE its sources,
# built here with the project's own flags (libgtest-dev ships 64-bit libraries only, so a -m32
# build needs this). Either way the tests link GTest::gtest and GTest::gtest_main.
option(ZEB_GTEST_FROM_SOURCE "Build GoogleTest from its sources instead of using the installed one" OFF)
set(ZEB_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources for ZEB_GTEST_FROM_SOURCE")

if(ZEB_GTEST_FROM_SOURCE)
  if(NOT EXISTS ${ZEB_GTEST_SOURCE_DIR}/CMakeLists.txt)
    message(FATAL_ERROR "No GoogleTest sources in ${ZEB_GTEST_SOURCE_DIR} (Debian: apt-get install googletest)")
  endif()
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  # SYSTEM: its headers do not take part in our warnings-as-errors.
  add_subdirectory(${ZEB_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  if(NOT TARGET GTest::gtest_main)  # older sources define no namespaced aliases
    add_library(GTest::gtest ALIAS gtest)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)
