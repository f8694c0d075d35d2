# find_package(Vornix): the exported targets and what they need.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Vornix")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/VornixConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VornixConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VornixConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VornixConfig.cmake" "${PROJECT_BINARY_DIR}/VornixConfigVersion.cmake"
  DESTINATION "${package_dir}")
install(EXPORT VornixTargets NAMESPACE Vornix:: DESTINATION "${package_dir}")
