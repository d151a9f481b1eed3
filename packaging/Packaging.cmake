# Install rules, the manual page and the Debian package.
# Only the "agent" component is installed and packaged, so install rules that tests or tools
# may add elsewhere never end up in the package.
include(GNUInstallDirs)

set(ZEB_MANPAGE ${PROJECT_BINARY_DIR}/packaging/zeb-agent.8)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zeb-agent.8.in ${ZEB_MANPAGE} @ONLY)

# Debian wants manual pages compressed; -n keeps the archive free of names and times.
find_program(ZEB_GZIP gzip REQUIRED)
add_custom_command(
  OUTPUT ${ZEB_MANPAGE}.gz
  COMMAND ${ZEB_GZIP} -9 -n -c ${ZEB_MANPAGE} > ${ZEB_MANPAGE}.gz
  DEPENDS ${ZEB_MANPAGE}
  COMMENT "Compressing the manual page"
  VERBATIM)
add_custom_target(zeb-agent-manpage ALL DEPENDS ${ZEB_MANPAGE}.gz)

install(TARGETS zeb-agent RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT agent)
install(FILES ${ZEB_MANPAGE}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT agent)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zeb-agent)
set(CPACK_PACKAGE_VENDOR "Brightloom")
set(CPACK_PACKAGE_CONTACT "zeb-agent maintainers <zeb-agent@brightloom.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "zeb-agent runs in a user's login session and starts the suite's messenger
when another process sends it SIGUSR2. It ends itself when the session ends,
when a second copy runs, or on SIGINT, SIGTERM or SIGQUIT. It has no user
interface, reads no configuration and logs nothing.")
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};agent;/")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps (from dpkg-dev) finds the exact library versions the binary needs; without
# it, state what it finds for this program on Debian 12.
find_program(ZEB_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(ZEB_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  message(STATUS "dpkg-shlibdeps not found: the package states its dependencies by hand")
  # The released agent carries its C++ runtime; only the C library is shared.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36)")
endif()

include(CPack)
