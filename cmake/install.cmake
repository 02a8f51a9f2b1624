# What goes where: the components are what the Debian packages of cmake/packages.cmake hold.
#   runtime      the library, its group and its folder
#   development  what compiling and linking an application needs
#   tools        the command, and the units that run it daily for a user who enables them
#   updater      the reference updater, left out of a whole installation: it is for testing only
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(kxl_packaging ${PROJECT_SOURCE_DIR}/packaging)
set(kxl_cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/kxl)
set(kxl_development_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/libkxl-dev)

install(TARGETS kxl EXPORT kxl
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES ${kxl_packaging}/sysusers.d/kxl.conf DESTINATION lib/sysusers.d COMPONENT runtime)
install(FILES ${kxl_packaging}/tmpfiles.d/kxl.conf DESTINATION lib/tmpfiles.d COMPONENT runtime)

# The library alone is what an application links, so the package needs nothing besides its targets.
install(EXPORT kxl FILE kxlConfig.cmake NAMESPACE kxl:: DESTINATION ${kxl_cmake_folder}
  COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kxlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_file(${kxl_packaging}/kxl.pc.in ${PROJECT_BINARY_DIR}/kxl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxlConfigVersion.cmake DESTINATION ${kxl_cmake_folder}
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/kxl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
install(FILES docs/architecture.md docs/integration.md docs/updater.md docs/administration.md
  DESTINATION ${kxl_development_doc} COMPONENT development)
install(FILES examples/host.c DESTINATION ${kxl_development_doc}/examples COMPONENT development)
install(FILES docs/man/kxl.h.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

install(TARGETS kxl_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
configure_file(${kxl_packaging}/systemd/kxl-check.service.in
  ${PROJECT_BINARY_DIR}/kxl-check.service @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxl-check.service ${kxl_packaging}/systemd/kxl-check.timer
  DESTINATION lib/systemd/user COMPONENT tools)
install(FILES docs/man/kxl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES tools/kxl/completion/kxl.bash RENAME kxl
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tools)
install(FILES tools/kxl/completion/_kxl
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions COMPONENT tools)
install(FILES tools/kxl/completion/kxl.fish
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d COMPONENT tools)

# The library looks for an updater here whatever prefix it was installed under.
install(TARGETS updater EXCLUDE_FROM_ALL COMPONENT updater RUNTIME DESTINATION
  "/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS")
install(FILES tools/updater/README.md EXCLUDE_FROM_ALL COMPONENT updater
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/kxl-updater-reference)
