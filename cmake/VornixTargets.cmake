# Functions that make the project's targets, so that each folder states only what is its own.

set(VORNIX_PRECOMPILED_HEADER "${CMAKE_CURRENT_LIST_DIR}/VornixPrecompiled.h")
set(VORNIX_PRECOMPILED_SOURCE "${CMAKE_CURRENT_LIST_DIR}/VornixPrecompiled.cpp")

# vornix_add_precompiled_header(NAME LINK ... HEADERS ...): a header that targets share by REUSE_FROM. One for all targets of
# a kind: each weighs more than 150 MB and takes as long to make as several sources.
function(vornix_add_precompiled_header name)
  cmake_parse_arguments(ARG "" "" "LINK;HEADERS" ${ARGN})
  add_library(${name} OBJECT "${VORNIX_PRECOMPILED_SOURCE}")
  set_target_properties(${name} PROPERTIES AUTOMOC OFF)
  target_link_libraries(${name} PRIVATE ${ARG_LINK} VornixCompiler)
  target_precompile_headers(${name} PRIVATE "${VORNIX_PRECOMPILED_HEADER}" ${ARG_HEADERS})
endfunction()

# vornix_add_floor(NAME LIBRARY LIB [PRECOMPILED TARGET] PUBLIC_HEADERS ... SOURCES ... FOLDERS ... LINK ... LINK_PRIVATE ...)
# One floor of the house: a shared library whose public headers are the ones listed, no others.
function(vornix_add_floor name)
  cmake_parse_arguments(ARG "" "LIBRARY;PRECOMPILED" "PUBLIC_HEADERS;SOURCES;FOLDERS;LINK;LINK_PRIVATE" ${ARGN})
  if(NOT ARG_PRECOMPILED)
    set(ARG_PRECOMPILED VornixPrecompiled)
  endif()
  add_library(${ARG_LIBRARY} SHARED ${ARG_SOURCES} ${ARG_PUBLIC_HEADERS})
  add_library(Vornix::${name} ALIAS ${ARG_LIBRARY})
  set_target_properties(${ARG_LIBRARY} PROPERTIES
    EXPORT_NAME ${name} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib" INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
  list(TRANSFORM ARG_FOLDERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" OUTPUT_VARIABLE folders)
  target_include_directories(${ARG_LIBRARY} PUBLIC
    "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR};${folders};${PROJECT_BINARY_DIR}/include>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_compile_features(${ARG_LIBRARY} PUBLIC cxx_std_20)
  target_link_libraries(${ARG_LIBRARY} PUBLIC ${ARG_LINK} PRIVATE ${ARG_LINK_PRIVATE} $<BUILD_INTERFACE:VornixCompiler>)
  target_link_options(${ARG_LIBRARY} PRIVATE "$<$<NOT:$<BOOL:${VORNIX_SANITIZER}>>:LINKER:--no-undefined>")
  target_precompile_headers(${ARG_LIBRARY} REUSE_FROM ${ARG_PRECOMPILED})
  vornix_publish_headers(${ARG_PUBLIC_HEADERS})
  install(TARGETS ${ARG_LIBRARY} EXPORT VornixTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

# vornix_publish_headers(FILE ...): installs the headers and shows them as <Vornix/...> in the build tree too.
function(vornix_publish_headers)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/include/Vornix")
  foreach(header IN LISTS ARGN)
    if(NOT header MATCHES "\\.h$")
      message(FATAL_ERROR "${header} is no header, so it cannot be installed as one")
    endif()
    cmake_path(GET header FILENAME file)
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}/${header}" "${PROJECT_BINARY_DIR}/include/Vornix/${file}" SYMBOLIC)
  endforeach()
  install(FILES ${ARGN} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Vornix)
endfunction()

# vornix_add_tests(NAME [SERIAL] SOURCES ... LINK ...): a GoogleTest program, each test an entry of its own in ctest. SERIAL:
# nothing else is tested meanwhile, for tests of what has time-outs of its own.
function(vornix_add_tests name)
  cmake_parse_arguments(ARG "SERIAL" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} VornixTestSupport VornixCompiler)
  target_precompile_headers(${name} REUSE_FROM VornixTestPrecompiled)
  if(ARG_SERIAL)
    set(serial ON)
  else()
    set(serial OFF)
  endif()
  set(timeout 120)
  if(VORNIX_SANITIZER)
    set(timeout 600)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT ${timeout}
    RUN_SERIAL ${serial} ENVIRONMENT "${VORNIX_TEST_ENVIRONMENT}")
endfunction()

# vornix_add_test_paths(TARGET NAME PATH [NAME PATH ...]): the header TARGETPaths.h, which defines the names as texts. A
# definition of the whole target would keep its objects from being found in the compiler cache by another checkout.
function(vornix_add_test_paths target)
  set(text "#pragma once\n")
  while(ARGN)
    list(POP_FRONT ARGN name path)
    string(APPEND text "#define ${name} \"${path}\"\n")
  endwhile()
  file(GENERATE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/paths/${target}Paths.h" CONTENT "${text}")
  target_include_directories(${target} PUBLIC "${CMAKE_CURRENT_BINARY_DIR}/paths")
endfunction()
