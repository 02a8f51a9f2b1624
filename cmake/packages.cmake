# The Debian packages: cpack -G DEB makes one of each component of cmake/install.cmake.
set(CPACK_PACKAGE_NAME kxl)
set(CPACK_PACKAGE_CONTACT "libkxl developers <libkxl@kelda.example>")
# Empty, because each package brings a summary of its own as its description's first line.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL runtime development tools python updater)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

# The time that files in the packages have, so that the same sources give the same bytes.
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/package_time.cmake)

# The package of a library that is loaded when it is needed, which dpkg-shlibdeps does not see.
function(kxl_package_of library out)
  file(REAL_PATH ${library} file)
  cmake_path(GET file FILENAME name)
  execute_process(COMMAND dpkg -S */${name} OUTPUT_VARIABLE found ERROR_QUIET)
  string(REGEX REPLACE ":.*" "" package "${found}")
  set(${out} ${package} PARENT_SCOPE)
endfunction()
kxl_package_of(${KXL_LIBPLIST} libplist_package)
kxl_package_of(${LIBSYSTEMD} libsystemd_package)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkxl6)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Desktop applications and their updater, working together
Applications register themselves with the Kelda Updater, ask it for checks,
learn whether an update waits for them and hold its notices back. The library
downloads and installs nothing itself.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The administrator's list is read by libplist; the group is made by systemd-sysusers, which is to be had
# without systemd.
set(needed ${libplist_package} "systemd-standalone-sysusers | systemd-sysusers")
list(JOIN needed ", " CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS)
# Loaded when a running updater is to be told something, and done without when it is not there.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "${libsystemd_package}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${kxl_packaging}/debian/postinst ${kxl_packaging}/debian/postrm ${kxl_packaging}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkxl-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Desktop applications and their updater (development files)
The headers of libkxl for C and C++, its documentation, an example, and what
pkg-config and CMake need to find it.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkxl6 (= ${PROJECT_VERSION})")
# Its documents lead there.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "kxl-tools, kxl-updater-reference")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kxl-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Desktop applications and their updater (command line)
The command kxl does from a shell what libkxl does for an application. A user
who wants a daily check for updates enables the unit kxl-check.timer. With the
guide for administrators.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libkxl6 (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS libkxl-dev)

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-kxl)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "Desktop applications and their updater (Python)
The package kxl is libkxl for applications that are written in Python, with
types, context managers and versions of its calls for asyncio.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libkxl6 (>= ${PROJECT_VERSION}), python3:any (>= 3.9)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "kxl-updater-reference, libkxl-dev")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${kxl_packaging}/debian/python/postinst ${kxl_packaging}/debian/python/prerm)

set(CPACK_DEBIAN_UPDATER_PACKAGE_NAME kxl-updater-reference)
set(CPACK_DEBIAN_UPDATER_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_UPDATER_DESCRIPTION "Desktop applications and their updater (reference updater)
A small updater to test applications against, which misbehaves on request. It
stands where the Kelda Updater is expected, and downloads and installs nothing.
The command kxl-test-machine runs an application on a private machine with it,
and kxl-updater-check checks another updater.")
set(CPACK_DEBIAN_UPDATER_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_UPDATER_PACKAGE_DEPENDS libnss-wrapper)
set(CPACK_DEBIAN_UPDATER_PACKAGE_RECOMMENDS "dbus-daemon, kxl-tools")
set(CPACK_DEBIAN_UPDATER_PACKAGE_ENHANCES libkxl6)

include(CPack)
