# find_package(Vornix): the exported targets, what they need, and vornix_add_plugin(). The build tree can be used in
# place of an installation.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Vornix")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/VornixConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VornixConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VornixConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VornixConfig.cmake" "${PROJECT_BINARY_DIR}/VornixConfigVersion.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/VornixPlugin.cmake"
  DESTINATION "${package_dir}")
install(EXPORT VornixTargets NAMESPACE Vornix:: DESTINATION "${package_dir}")

configure_file("${CMAKE_CURRENT_LIST_DIR}/VornixPlugin.cmake" "${PROJECT_BINARY_DIR}/VornixPlugin.cmake" COPYONLY)
export(EXPORT VornixTargets NAMESPACE Vornix:: FILE "${PROJECT_BINARY_DIR}/VornixTargets.cmake")

# The documents and examples, with their links to each other; and the reference pages, where scripts/docs has made them.
set(document_dir "${CMAKE_INSTALL_DATADIR}/doc/vornix")
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CONTRIBUTING.md" DESTINATION "${document_dir}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/" DESTINATION "${document_dir}/docs"
  FILES_MATCHING PATTERN "*.md" PATTERN "*.png")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/Examples" DESTINATION "${document_dir}" USE_SOURCE_PERMISSIONS)
file(GLOB_RECURSE documents CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/PlugIns/*.md"
  "${PROJECT_SOURCE_DIR}/Interface/*.md" "${PROJECT_SOURCE_DIR}/Tools/*.md")
foreach(document IN LISTS documents)
  cmake_path(GET document PARENT_PATH folder)
  install(FILES "${PROJECT_SOURCE_DIR}/${document}" DESTINATION "${document_dir}/${folder}")
endforeach()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/build/docs/html/" DESTINATION "${document_dir}/reference" OPTIONAL)
