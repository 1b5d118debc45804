# Debian packages, one per install component (cmake/ZelInstall.cmake):
#   cmake --preset release && cmake --build --preset release
#   cpack -G DEB --config build/release/CPackConfig.cmake -B <out>
# makes libzelutil1, libzelutil-dev and zelutil-tools. A file installed with
# COMPONENT tools goes into zelutil-tools; a file without a component goes
# into no package.
# A placeholder address: a release sets its own.
set(ZEL_PACKAGE_MAINTAINER "libzelutil developers <libzelutil@example.org>"
    CACHE STRING "Maintainer field of the Debian packages")
set(ZEL_PACKAGE_RELEASE 1 CACHE STRING "Debian revision of the packages")

set(CPACK_PACKAGE_NAME libzelutil)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${ZEL_PACKAGE_MAINTAINER}")
set(CPACK_STRIP_FILES ON)
# The first line of each description below is its package's synopsis. CPack
# puts the project's summary before it unless the summary is CPack's default
# text, so the summary is that text (it appears in no package).
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "${ZEL_PACKAGE_RELEASE}")
set(CPACK_DEBIAN_PACKAGE_SOURCE libzelutil)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps names the real runtime packages of ICU, spdlog, fmt and the C
# and C++ libraries; the shlibs file lets other packages depend on ours.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(zel_deb_version "${PROJECT_VERSION}-${ZEL_PACKAGE_RELEASE}")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzelutil1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "foundation library of the configuration-management server
libzelutil gives the server and its clients one text type over ICU, catalogued
exceptions, resource selectors, the XML tags of the wire protocol, identifiers,
credentials, temporary files, WebDAV dates and optional ARM 4.0 response-time
measurement. This package holds the shared libraries.")
# The shared libraries are registered with ldconfig by trigger.
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/triggers")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzelutil-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The public headers include ICU's.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libzelutil1 (= ${zel_deb_version}), libicu-dev")
set(CPACK_DEBIAN_DEV_DESCRIPTION "foundation library of the configuration-management server (headers)
The headers, the CMake package zelutil (find_package(zelutil), target
zelutil::zelutil) and the pkg-config file zelutil.pc of libzelutil.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zelutil-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzelutil1 (= ${zel_deb_version})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "tools of the configuration-management foundation library
The zelutil command-line tool, which exercises libzelutil from the shell, and
the arm4-trace ARM 4.0 runtime, which writes what a program measures to a file,
and the arm4-prometheus runtime, which serves it as Prometheus metrics.")
# The tool links libzelutil.so.1 of the runtime package, not an installed one.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src"
    "${PROJECT_BINARY_DIR}/src/qvlogger")

# Every package carries its copyright file and a changelog, compressed as
# Debian wants it (no name, no time stamp in the gzip header).
string(TIMESTAMP zel_changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "${PROJECT_BINARY_DIR}/debian/changelog"
"libzelutil (${zel_deb_version}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}, packaged from the project's CMake build.

 -- ${ZEL_PACKAGE_MAINTAINER}  ${zel_changelog_date}
")
execute_process(COMMAND gzip -9nc
  INPUT_FILE "${PROJECT_BINARY_DIR}/debian/changelog"
  OUTPUT_FILE "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz"
  COMMAND_ERROR_IS_FATAL ANY)
foreach(component runtime dev tools)
  string(TOUPPER ${component} upper)
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/copyright"
                "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz"
          DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}"
          COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
