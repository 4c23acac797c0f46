# What finds an installed libnas: pkg-config files and a CMake package. Both find their own prefix, so that
# an installed tree can be moved.
include(CMakePackageConfigHelpers)
set(nas_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/nas)
set(nas_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(nas_package_dir ${CMAKE_CURRENT_LIST_DIR}/package)

# nas_pkgconfig(NAME): from cmake/package/NAME.pc.in.
file(RELATIVE_PATH nas_prefix_of_pkgconfig /prefix/${nas_pkgconfig_dir} /prefix)
function(nas_pkgconfig name)
  configure_file(${nas_package_dir}/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${nas_pkgconfig_dir} COMPONENT nas_development)
endfunction()

nas_pkgconfig(nas)
install(EXPORT nas-targets NAMESPACE nas:: DESTINATION ${nas_cmake_dir} COMPONENT nas_development)
if(NAS_BUILD_HOST)
  nas_pkgconfig(nashost)
  install(EXPORT nas-host-targets NAMESPACE nas:: DESTINATION ${nas_cmake_dir} COMPONENT nas_development)
endif()

configure_package_config_file(${nas_package_dir}/nas-config.cmake.in ${PROJECT_BINARY_DIR}/nas-config.cmake
  INSTALL_DESTINATION ${nas_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nas-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nas-config.cmake ${PROJECT_BINARY_DIR}/nas-config-version.cmake
  DESTINATION ${nas_cmake_dir} COMPONENT nas_development)
