# What goes where: the components are what the Debian packages of cmake/packages.cmake hold.
#   runtime      the library, its group and its folder
#   development  what compiling and linking an application needs
#   tools        the command, the administration guide, and the units that run it daily for a user who enables them
#   python       the Python package, with what tells pip that it is there
#   updater      the reference updater and the check of any other one, left out of a whole installation: they are
#                for testing only
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(kxl_packaging ${PROJECT_SOURCE_DIR}/packaging)
set(kxl_cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/kxl)
set(kxl_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc)
set(kxl_prepared ${PROJECT_BINARY_DIR}/prepared)  # what is not installed as it stands

# Writes a file to ${kxl_prepared} as the command prints it, and again when it has changed.
function(kxl_prepare source name)
  execute_process(COMMAND ${ARGN} INPUT_FILE ${PROJECT_SOURCE_DIR}/${source}
    OUTPUT_FILE ${kxl_prepared}/${name} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
endfunction()

# Installs documents for the package, whose links lead to where the others are installed.
function(kxl_install_documents component package)
  foreach(document ${ARGN})
    cmake_path(GET document FILENAME name)
    kxl_prepare(${document} ${name} sed -f ${kxl_packaging}/document_links.sed)
    install(FILES ${kxl_prepared}/${name} DESTINATION ${kxl_doc}/${package} COMPONENT ${component}
      ${kxl_exclude_${component}})
  endforeach()
endfunction()

# What every package brings.
function(kxl_install_notices component package)
  install(FILES ${kxl_packaging}/debian/copyright ${kxl_prepared}/changelog.gz
    DESTINATION ${kxl_doc}/${package} COMPONENT ${component} ${kxl_exclude_${component}})
endfunction()

file(MAKE_DIRECTORY ${kxl_prepared})
set(kxl_exclude_updater EXCLUDE_FROM_ALL)
kxl_prepare(packaging/debian/changelog changelog.gz gzip -9nc)
kxl_prepare(docs/man/kxl.1 kxl.1.gz gzip -9nc)
kxl_prepare(docs/man/kxl.h.3 kxl.h.3.gz gzip -9nc)
kxl_prepare(docs/man/kxl-updater-check.1 kxl-updater-check.1.gz gzip -9nc)
kxl_install_notices(runtime libkxl6)
kxl_install_notices(development libkxl-dev)
kxl_install_notices(tools kxl-tools)
kxl_install_notices(python python3-kxl)
kxl_install_notices(updater kxl-updater-reference)

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
file(RELATIVE_PATH KXL_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" KXL_PREFIX_FROM_PKGCONFIG ${KXL_PREFIX_FROM_PKGCONFIG})
configure_file(${kxl_packaging}/kxl.pc.in ${PROJECT_BINARY_DIR}/kxl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxlConfigVersion.cmake DESTINATION ${kxl_cmake_folder}
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/kxl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
kxl_install_documents(development libkxl-dev
  docs/architecture.md docs/integration.md docs/updater.md)
install(FILES examples/host.c examples/updater.py DESTINATION ${kxl_doc}/libkxl-dev/examples
  COMPONENT development)
install(DIRECTORY examples/desktop DESTINATION ${kxl_doc}/libkxl-dev/examples COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.cpp")
# One page for all functions, found by the name of each.
install(FILES ${kxl_prepared}/kxl.h.3.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
  COMPONENT development)
file(STRINGS include/kxl/kxl.h functions REGEX "^KXL_API ")
foreach(function ${functions})
  string(REGEX REPLACE ".* ([A-Za-z]+)\\(.*" "\\1" function ${function})
  file(CREATE_LINK kxl.h.3.gz ${kxl_prepared}/${function}.3.gz SYMBOLIC)
  install(FILES ${kxl_prepared}/${function}.3.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
    COMPONENT development)
endforeach()

# Wherever the whole is installed or moved to. In /usr the system's own way finds the library.
file(RELATIVE_PATH kxl_lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(kxl_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${kxl_lib_from_bin}")
install(TARGETS kxl_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(CODE "
  if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}/usr/${CMAKE_INSTALL_BINDIR}/kxl\")
  endif()
  set(KXL_BINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  configure_file(\"${kxl_packaging}/systemd/kxl-check.service.in\"
    \"${PROJECT_BINARY_DIR}/kxl-check.service\" @ONLY)" COMPONENT tools)
install(FILES ${PROJECT_BINARY_DIR}/kxl-check.service ${kxl_packaging}/systemd/kxl-check.timer
  DESTINATION lib/systemd/user COMPONENT tools)
kxl_install_documents(tools kxl-tools docs/administration.md docs/sandboxes.md)
install(FILES ${kxl_prepared}/kxl.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES tools/kxl/completion/kxl.bash RENAME kxl
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tools)
install(FILES tools/kxl/completion/_kxl
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions COMPONENT tools)
install(FILES tools/kxl/completion/kxl.fish
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d COMPONENT tools)

set(kxl_python_folder lib/python3/dist-packages)
install(DIRECTORY bindings/python/kxl DESTINATION ${kxl_python_folder} COMPONENT python
  PATTERN __pycache__ EXCLUDE)
set(python_metadata ${kxl_prepared}/kxl-${PROJECT_VERSION}.egg-info)
file(CONFIGURE OUTPUT ${python_metadata} CONTENT
  "Metadata-Version: 2.1\nName: kxl\nVersion: ${PROJECT_VERSION}\nRequires-Python: >=3.9\n")
install(FILES ${python_metadata} DESTINATION ${kxl_python_folder} COMPONENT python)

# The library looks for an updater here whatever prefix it was installed under.
install(TARGETS updater EXCLUDE_FROM_ALL COMPONENT updater RUNTIME DESTINATION
  "/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS")
install(PROGRAMS tools/updater/kxl-test-machine EXCLUDE_FROM_ALL COMPONENT updater
  DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET updater_check)
  install(TARGETS updater_check EXCLUDE_FROM_ALL COMPONENT updater
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${kxl_prepared}/kxl-updater-check.1.gz EXCLUDE_FROM_ALL COMPONENT updater
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
kxl_install_documents(updater kxl-updater-reference tools/updater/README.md)
install(FILES ${kxl_packaging}/debian/kxl-updater-reference.lintian-overrides EXCLUDE_FROM_ALL
  COMPONENT updater DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
  RENAME kxl-updater-reference)

# What the last installation from this folder has written; folders stay.
add_custom_target(uninstall COMMAND ${CMAKE_COMMAND}
  -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake)
