# Installation: headers, library, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/zel include/qvlogger "${PROJECT_BINARY_DIR}/include/zel"
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h" PATTERN "*.def")

install(TARGETS zelutil qvlogger EXPORT zelutilTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(ZEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelutil)
install(EXPORT zelutilTargets NAMESPACE zelutil:: DESTINATION ${ZEL_CMAKE_DIR})
configure_package_config_file(cmake/zelutilConfig.cmake.in
  "${PROJECT_BINARY_DIR}/zelutilConfig.cmake" INSTALL_DESTINATION ${ZEL_CMAKE_DIR})
# Same major version only: the SONAME changes with it.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zelutilConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zelutilConfig.cmake"
              "${PROJECT_BINARY_DIR}/zelutilConfigVersion.cmake"
        DESTINATION ${ZEL_CMAKE_DIR})

file(RELATIVE_PATH ZEL_PC_RELATIVE_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" ZEL_PC_RELATIVE_PREFIX "${ZEL_PC_RELATIVE_PREFIX}")
configure_file(cmake/zelutil.pc.in "${PROJECT_BINARY_DIR}/zelutil.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zelutil.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
