# Installation: headers, libraries, the CMake package and the pkg-config file.
#
# Each file belongs to one install component, and each component becomes one
# Debian package (cmake/ZelPackage.cmake):
#   runtime  the shared libraries under their SONAMEs          (libzelutil1)
#   dev      headers, .so links or .a archives, CMake package,
#            pkg-config file                                    (libzelutil-dev)
#   tools    the zelutil tool and the ARM runtimes              (zelutil-tools)
include(CMakePackageConfigHelpers)

install(DIRECTORY include/zel include/qvlogger "${PROJECT_BINARY_DIR}/include/zel"
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
        FILES_MATCHING PATTERN "*.h" PATTERN "*.def")

install(TARGETS zelutil qvlogger EXPORT zelutilTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(ZEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelutil)
install(EXPORT zelutilTargets NAMESPACE zelutil:: DESTINATION ${ZEL_CMAKE_DIR} COMPONENT dev)
# A static library leaves its own dependencies to the program that links it:
# the package then looks for them too.
if(ZEL_LIBRARY_TYPE STREQUAL "STATIC")
  set(ZEL_STATIC_DEPENDENCIES [[
find_dependency(Threads)
find_dependency(fmt CONFIG)
find_dependency(spdlog CONFIG)]])
else()
  set(ZEL_STATIC_DEPENDENCIES "")
endif()
configure_package_config_file(cmake/zelutilConfig.cmake.in
  "${PROJECT_BINARY_DIR}/zelutilConfig.cmake" INSTALL_DESTINATION ${ZEL_CMAKE_DIR})
# Same major version only: the SONAME changes with it.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zelutilConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zelutilConfig.cmake"
              "${PROJECT_BINARY_DIR}/zelutilConfigVersion.cmake"
        DESTINATION ${ZEL_CMAKE_DIR} COMPONENT dev)

file(RELATIVE_PATH ZEL_PC_RELATIVE_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" ZEL_PC_RELATIVE_PREFIX "${ZEL_PC_RELATIVE_PREFIX}")
# What `pkg-config --static` adds for the archives; the shared libraries carry
# their own dependencies, and then the file names none.
if(ZEL_LIBRARY_TYPE STREQUAL "STATIC")
  set(ZEL_PC_REQUIRES_PRIVATE "spdlog fmt")
  set(ZEL_PC_LIBS_PRIVATE "-lpthread")
  foreach(library IN LISTS CMAKE_DL_LIBS)
    string(APPEND ZEL_PC_LIBS_PRIVATE " -l${library}")
  endforeach()
  set(ZEL_PC_CFLAGS " -DZEL_STATIC_DEFINE")
else()
  set(ZEL_PC_REQUIRES_PRIVATE "")
  set(ZEL_PC_LIBS_PRIVATE "")
  set(ZEL_PC_CFLAGS "")
endif()
configure_file(cmake/zelutil.pc.in "${PROJECT_BINARY_DIR}/zelutil.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zelutil.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
