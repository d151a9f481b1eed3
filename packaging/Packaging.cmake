# Install rules, the manual page and the Debian package.
# Only the "agent" component is installed and packaged, so install rules that tests or tools
# may add elsewhere never end up in the package.
include(GNUInstallDirs)

set(ZEB_PACKAGING ${PROJECT_BINARY_DIR}/packaging)

# The changelog's latest entry names the release: its version must be the project's, and its
# maintainer and date are the package's and the manual page's.
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG ZEB_CHANGELOG_HEAD LIMIT_COUNT 1)
if(NOT ZEB_CHANGELOG_HEAD MATCHES "^zeb-agent \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "CHANGELOG: its latest entry is not ${PROJECT_VERSION}")
endif()
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG ZEB_CHANGELOG_TRAILER REGEX "^ -- " LIMIT_COUNT 1)
if(NOT ZEB_CHANGELOG_TRAILER MATCHES "^ -- (.+>)  (.+)$")
  message(FATAL_ERROR "CHANGELOG: no maintainer and date in: ${ZEB_CHANGELOG_TRAILER}")
endif()
set(ZEB_MAINTAINER "${CMAKE_MATCH_1}")
set(ZEB_RELEASE "${CMAKE_MATCH_2}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG)

# The date as the manual page's day, and in seconds for the package's times, so that two builds of
# one source give the same bytes; a packager's SOURCE_DATE_EPOCH wins (cpack reads the file first).
# No `date` reads a given date alike on every system, so CMake counts the days, from 1 March of
# year 0 (a leap day then ends its year); string(TIMESTAMP) must read the trailer's text back.
set(ZEB_MONTHS Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec)
set(ZEB_2 "([0-9][0-9])")
set(ZEB_4 "([0-9][0-9][0-9][0-9])")
if(ZEB_RELEASE MATCHES "^..., ${ZEB_2} (...) ${ZEB_4} ${ZEB_2}:${ZEB_2}:${ZEB_2} ([+-])${ZEB_4}$")
  list(FIND ZEB_MONTHS ${CMAKE_MATCH_2} ZEB_MONTH)
  math(EXPR ZEB_MONTH "(${ZEB_MONTH} + 10) % 12")
  math(EXPR ZEB_YEAR "${CMAKE_MATCH_3} - ${ZEB_MONTH} / 10")
  math(EXPR ZEB_LOCAL "(365 * ${ZEB_YEAR} + ${ZEB_YEAR} / 4 - ${ZEB_YEAR} / 100 + ${ZEB_YEAR} / 400
    + (153 * ${ZEB_MONTH} + 2) / 5 + ${CMAKE_MATCH_1} - 1 - 719468) * 86400
    + ${CMAKE_MATCH_4} * 3600 + ${CMAKE_MATCH_5} * 60 + ${CMAKE_MATCH_6}")
  math(EXPR ZEB_EPOCH
    "${ZEB_LOCAL} - ${CMAKE_MATCH_7}(${CMAKE_MATCH_8} / 100 * 3600 + ${CMAKE_MATCH_8} % 100 * 60)")
  set(ZEB_ENV_EPOCH "$ENV{SOURCE_DATE_EPOCH}")
  set(ENV{SOURCE_DATE_EPOCH} ${ZEB_LOCAL})
  string(TIMESTAMP ZEB_READ_BACK "%a, %d %b %Y %H:%M:%S ${CMAKE_MATCH_7}${CMAKE_MATCH_8}" UTC)
  set(ENV{SOURCE_DATE_EPOCH} ${ZEB_EPOCH})
  string(TIMESTAMP ZEB_RELEASE_DATE "%Y-%m-%d" UTC)
endif()
if(NOT ZEB_READ_BACK STREQUAL ZEB_RELEASE)
  message(FATAL_ERROR "CHANGELOG: no date like \"Mon, 23 Nov 2026 00:00:00 +0000\" in its trailer")
endif()
# Only making the package needs dpkg, which names the architecture.
file(CONFIGURE OUTPUT ${ZEB_PACKAGING}/cpack-project.cmake CONTENT
"if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  set(ENV{SOURCE_DATE_EPOCH} ${ZEB_EPOCH})
endif()
find_program(ZEB_DPKG dpkg REQUIRED)
")
set(CPACK_PROJECT_CONFIG_FILE ${ZEB_PACKAGING}/cpack-project.cmake)

set(ZEB_MANPAGE ${ZEB_PACKAGING}/zeb-agent.1)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zeb-agent.1.in ${ZEB_MANPAGE} @ONLY)
# Debian wants manual pages and changelogs compressed, with the most compression and no name or
# time inside: CMake leaves gzip's time out while SOURCE_DATE_EPOCH is set. No gzip is needed.
file(ARCHIVE_CREATE OUTPUT ${ZEB_MANPAGE}.gz PATHS ${ZEB_MANPAGE}
  FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
file(ARCHIVE_CREATE OUTPUT ${ZEB_PACKAGING}/changelog.gz PATHS ${PROJECT_SOURCE_DIR}/CHANGELOG
  FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
set(ENV{SOURCE_DATE_EPOCH} "${ZEB_ENV_EPOCH}")

# Debian's machine-readable copyright file, made from LICENSE: its copyright line, then the
# licence's text, one space in and an empty line as " .".
file(READ ${PROJECT_SOURCE_DIR}/LICENSE ZEB_LICENSE)
if(NOT ZEB_LICENSE MATCHES "^MIT License\n\nCopyright \\(c\\) ([^\n]+)\n\n(.+[^\n])\n*$")
  message(FATAL_ERROR "LICENSE: not the MIT licence with one copyright line")
endif()
set(ZEB_COPYRIGHT "${CMAKE_MATCH_1}")
string(REPLACE "\n\n" "\n.\n" ZEB_LICENSE_TEXT "${CMAKE_MATCH_2}")
string(REPLACE "\n" "\n " ZEB_LICENSE_TEXT "${ZEB_LICENSE_TEXT}")
file(CONFIGURE OUTPUT ${ZEB_PACKAGING}/copyright @ONLY CONTENT
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: zeb-agent

Files: *
Copyright: @ZEB_COPYRIGHT@
License: Expat
 @ZEB_LICENSE_TEXT@
")

install(TARGETS zeb-agent RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT agent)
install(FILES ${ZEB_MANPAGE}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT agent)
install(FILES ${ZEB_PACKAGING}/copyright ${ZEB_PACKAGING}/changelog.gz
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT agent)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME zeb-agent COMPONENT agent)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zeb-agent)
set(CPACK_PACKAGE_VENDOR "Brightloom")
set(CPACK_PACKAGE_CONTACT "${ZEB_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "zeb-agent runs in a user's login session and starts the suite's messenger
when another process sends it SIGUSR2. It ends itself when the session ends
(no process named loginwindow is left), when a second copy runs, or on
SIGINT, SIGTERM or SIGQUIT. It has no user interface, reads no configuration
and logs nothing. On Linux, where no process named loginwindow runs unless
one is started for it, the agent ends about ten seconds after it starts.")
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};agent;/")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The agent runs /bin/ps for its checks, and procps is not Essential.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "procps")
# dpkg-shlibdeps (from dpkg-dev) finds the exact library versions the binary needs and adds
# them; without it, state what it finds for this program on Debian 12.
find_program(ZEB_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(ZEB_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  message(STATUS "dpkg-shlibdeps not found: the package states its dependencies by hand")
  # The released agent carries its C++ runtime; only the C library is shared.
  list(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36)")
  list(JOIN CPACK_DEBIAN_PACKAGE_DEPENDS ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
endif()

include(CPack)
