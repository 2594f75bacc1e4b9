# What an installation holds: the library, its headers, the tool, and what
# pkg-config and CMake need to find them.
include(CMakePackageConfigHelpers)

install(TARGETS libkor EXPORT libkorTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    NAMELINK_COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libkor COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
if(TARGET kor_tool)
  install(TARGETS kor_tool
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()

# The prefix is known for certain when it is installed, not before.
install(CODE "
  get_filename_component(KOR_PREFIX \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
  set(KOR_LIBDIR [[${CMAKE_INSTALL_LIBDIR}]])
  set(KOR_INCLUDEDIR [[${CMAKE_INSTALL_INCLUDEDIR}]])
  set(KOR_DESCRIPTION [[${PROJECT_DESCRIPTION}]])
  set(KOR_VERSION [[${PROJECT_VERSION}]])
  configure_file([[${PROJECT_SOURCE_DIR}/packaging/libkor.pc.in]]
    [[${PROJECT_BINARY_DIR}/libkor.pc]] @ONLY)"
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/libkor.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/libkor)
install(EXPORT libkorTargets NAMESPACE libkor::
  DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(packaging/libkorConfig.cmake.in
  libkorConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(libkorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/libkorConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/libkorConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)
