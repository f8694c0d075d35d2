# Language, warnings, sanitizers and the compiler cache: for this project's own targets only.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # A precompiled header changes its time stamp at each build, which ccache must be told to overlook.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${CCACHE})
endif()

add_library(VornixCompiler INTERFACE)
target_compile_definitions(VornixCompiler INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING
  QT_NO_KEYWORDS QT_NO_FOREACH QT_STRICT_ITERATORS QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_compile_options(VornixCompiler INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wunused
  -Wconversion -Wnull-dereference -Wformat=2 -Wimplicit-fallthrough
  $<$<BOOL:${VORNIX_WERROR}>:-Werror>
  $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess -Wlogical-op -Wduplicated-cond>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta -Wno-error=unknown-warning-option>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # With optimisation GCC 12 warns about null dereferences inside Qt's and its own headers.
  target_compile_options(VornixCompiler INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wno-null-dereference>)
endif()

if(VORNIX_SANITIZER STREQUAL "address")
  set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
elseif(VORNIX_SANITIZER STREQUAL "thread")
  set(sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(VORNIX_SANITIZER STREQUAL "fuzzer")
  set(sanitizer_flags -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
elseif(VORNIX_SANITIZER)
  message(FATAL_ERROR "VORNIX_SANITIZER is \"${VORNIX_SANITIZER}\"; use address, thread or fuzzer")
endif()
if(VORNIX_SANITIZER AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  list(APPEND sanitizer_flags "-fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/clang-sanitizers.ignore")
endif()
if(VORNIX_SANITIZER)
  add_compile_options(${sanitizer_flags})
  add_link_options(${sanitizer_flags})
endif()

# For the start of programs: libraries call their own functions without looking them up, and are mapped in fewer pieces.
if(NOT VORNIX_SANITIZER)
  add_link_options(LINKER:-Bsymbolic-functions LINKER:--as-needed LINKER:-z,noseparate-code)
endif()
