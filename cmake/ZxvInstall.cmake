# Installation: the two libraries, the public headers (the library's and the
# platform headers its users need, e.g. xcsFreeMemFn for returned buffers),
# the CMake package `zxvxzu` (targets zxvxzu::zxvxzu and zxvxzu::zxvxcs2) and
# the pkg-config file zxvxzu.pc. Components: `runtime` (shared libraries),
# `development` (headers, package files), `tools` (zxvu).
include(CMakePackageConfigHelpers)

set(ZXV_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/zxvxzu)

# Buffers the library hands out are freed through the platform's allocator,
# so users of the library link the platform too.
target_link_libraries(zxvxzu INTERFACE zxvxcs2)

install(TARGETS zxvxzu zxvxcs2
  EXPORT zxvxzuTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime
    NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zxvxzu
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/zxvxcs2
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
  FILES_MATCHING PATTERN "*.h")

install(EXPORT zxvxzuTargets
  NAMESPACE zxvxzu::
  DESTINATION ${ZXV_INSTALL_CMAKEDIR}
  COMPONENT development)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/zxvxzuConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zxvxzuConfig.cmake
  INSTALL_DESTINATION ${ZXV_INSTALL_CMAKEDIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/zxvxzuConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/zxvxzuConfig.cmake
    ${PROJECT_BINARY_DIR}/zxvxzuConfigVersion.cmake
  DESTINATION ${ZXV_INSTALL_CMAKEDIR}
  COMPONENT development)

# The .pc file finds the prefix from its own place, so an installed tree can
# be moved (and installed with `cmake --install --prefix`).
file(RELATIVE_PATH ZXV_PC_PREFIX_FROM_PCFILE
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" ZXV_PC_PREFIX_FROM_PCFILE "${ZXV_PC_PREFIX_FROM_PCFILE}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/zxvxzu.pc.in ${PROJECT_BINARY_DIR}/zxvxzu.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zxvxzu.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

if(TARGET zxvu)
  install(TARGETS zxvu RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()
