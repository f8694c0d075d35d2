# The host's and the framework's bundles, in the build tree as they are installed:
#   lib/libVornix*.so
#   lib/vornix/Vornix.framework/Resources/...
#   lib/vornix/VornixInterface.framework/Resources/...
#   lib/vornix/Vornix.app/Contents/{Info.plist,Linux,PlugIns,Resources}
#   bin/vornix -> ../lib/vornix/Vornix.app/Contents/Linux/vornix

set(VORNIX_BUNDLES_BUILD_DIR "${PROJECT_BINARY_DIR}/lib/vornix")
set(VORNIX_BUNDLES_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/vornix")

# vornix_copy_folder(TARGET FROM TO): keeps a copy of a resource folder, made anew when a file of it changes. Object models
# are compiled.
function(vornix_copy_folder target from to)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS RELATIVE "${from}" "${from}/*")
  list(FILTER files EXCLUDE REGEX "\\.in$")
  set(outputs "")
  foreach(file IN LISTS files)
    set(output "${to}/${file}")
    if(file MATCHES "\\.vxmodel$")
      string(REGEX REPLACE "\\.vxmodel$" ".mom" output "${output}")
      vornix_compile_model("${from}/${file}" "${output}")
    else()
      add_custom_command(OUTPUT "${output}"
        COMMAND ${CMAKE_COMMAND} -E copy "${from}/${file}" "${output}"
        DEPENDS "${from}/${file}" VERBATIM)
    endif()
    list(APPEND outputs "${output}")
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${outputs})
endfunction()

# vornix_add_framework_bundle(LIBRARY FOLDER [BUNDLE NAME]): a library's resources in NAME.framework (Vornix unless named),
# Info.plist made from Info.plist.in.
function(vornix_add_framework_bundle library folder)
  cmake_parse_arguments(ARG "" "BUNDLE" "" ${ARGN})
  if(NOT ARG_BUNDLE)
    set(ARG_BUNDLE Vornix)
  endif()
  set(resources "${ARG_BUNDLE}.framework/Resources")
  configure_file("${folder}/Info.plist.in" "${VORNIX_BUNDLES_BUILD_DIR}/${resources}/Info.plist" @ONLY)
  vornix_copy_folder(${library}Resources "${CMAKE_CURRENT_SOURCE_DIR}/${folder}" "${VORNIX_BUNDLES_BUILD_DIR}/${resources}")
  add_dependencies(${library} ${library}Resources)
  install(DIRECTORY "${VORNIX_BUNDLES_BUILD_DIR}/${resources}/" DESTINATION "${VORNIX_BUNDLES_INSTALL_DIR}/${resources}")
endfunction()

# vornix_place_program(PROGRAM BUNDLE): puts a program inside an application's bundle, with a link in bin/.
function(vornix_place_program program bundle)
  set(contents "${bundle}/Contents")
  set_target_properties(${program} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/Linux"
    INSTALL_RPATH "$ORIGIN/../../../..")
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
  file(CREATE_LINK "../lib/vornix/${contents}/Linux/${program}" "${PROJECT_BINARY_DIR}/bin/${program}" SYMBOLIC)
  install(TARGETS ${program} RUNTIME DESTINATION "${VORNIX_BUNDLES_INSTALL_DIR}/${contents}/Linux")
  file(RELATIVE_PATH from_bin "/${CMAKE_INSTALL_BINDIR}" "/${VORNIX_BUNDLES_INSTALL_DIR}/${contents}/Linux/${program}")
  install(CODE "
    set(link \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${program}\")
    cmake_path(GET link PARENT_PATH folder)
    file(MAKE_DIRECTORY \"\${folder}\")
    file(CREATE_LINK \"${from_bin}\" \"\${link}\" SYMBOLIC)")
endfunction()

# vornix_add_application_bundle(PROGRAM BUNDLE FOLDER): a program inside Vornix.app, with its resources.
function(vornix_add_application_bundle program bundle folder)
  set(contents "${bundle}/Contents")
  vornix_place_program(${program} ${bundle})
  configure_file("${folder}/Info.plist.in" "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/Info.plist" @ONLY)
  vornix_copy_folder(${program}Resources "${CMAKE_CURRENT_SOURCE_DIR}/${folder}" "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/Resources")
  add_dependencies(${program} ${program}Resources)
  file(MAKE_DIRECTORY "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/PlugIns")

  install(DIRECTORY "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/Resources" "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/PlugIns"
    DESTINATION "${VORNIX_BUNDLES_INSTALL_DIR}/${contents}" USE_SOURCE_PERMISSIONS) # plugins may bring programs
  install(FILES "${VORNIX_BUNDLES_BUILD_DIR}/${contents}/Info.plist" DESTINATION "${VORNIX_BUNDLES_INSTALL_DIR}/${contents}")
endfunction()
