# How every target of this project is compiled and where it goes. One tree shape serves the build and the
# installation:
#   lib/quelto/Contents/Resources/queltoSSH   the tool and its resources
#   lib/quelto/Contents/PlugIns/              the modules that it opens on first use
#   bin/queltoSSH                             a link to the tool
set(QUELTO_CONTENTS lib/quelto/Contents)
set(QUELTO_RESOURCES ${QUELTO_CONTENTS}/Resources)
set(QUELTO_PLUGINS ${QUELTO_CONTENTS}/PlugIns)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_package(PkgConfig REQUIRED)

find_program(QUELTO_CCACHE ccache)
if(QUELTO_CCACHE)
  # Another clone of this project then finds what this one has compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${QUELTO_CCACHE})
endif()

add_library(quelto_options INTERFACE)
target_compile_features(quelto_options INTERFACE cxx_std_20)
target_compile_options(quelto_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Wformat=2 -Wundef -Wno-missing-field-initializers -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(quelto_options INTERFACE -Wduplicated-cond -Wlogical-op -Wuseless-cast
    # GCC 12 sees overlaps in the concatenation of strings, and unset fields in arrays of containers, that are none.
    -Wno-restrict -Wno-maybe-uninitialized)
endif()
target_compile_definitions(quelto_options INTERFACE _GLIBCXX_ASSERTIONS)
target_include_directories(quelto_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

set(QUELTO_SANITIZE "" CACHE STRING "Sanitizers to build with, as in -fsanitize=")
if(QUELTO_SANITIZE)
  add_compile_options(-fsanitize=${QUELTO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QUELTO_SANITIZE})
  if(QUELTO_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
else()
  target_compile_options(quelto_options INTERFACE -fstack-protector-strong)
  target_compile_options(quelto_options INTERFACE "$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_link_options(quelto_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed -Wl,--gc-sections)
  target_compile_options(quelto_options INTERFACE -ffunction-sections -fdata-sections)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
endif()

# Puts the C++ runtime into a program that starts often: loading it costs more than all that the program does. Modules
# bring the shared one; the two never meet, since no exception crosses from one to the other.
function(quelto_static_runtime name)
  if(NOT QUELTO_SANITIZE)
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()

# A folder's static library: quelto_library(NAME SOURCES a.cc ... [LINK other ...]). With HEADERS instead of SOURCES
# there is nothing to compile.
function(quelto_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;HEADERS;LINK" ${ARGN})
  if(ARG_SOURCES)
    add_library(quelto_${name} STATIC ${ARG_SOURCES})
    target_link_libraries(quelto_${name} PUBLIC quelto_options ${ARG_LINK})
  else()
    add_library(quelto_${name} INTERFACE)
    target_link_libraries(quelto_${name} INTERFACE quelto_options ${ARG_LINK})
  endif()
endfunction()

# All modules, for whatever opens them at run time.
add_custom_target(quelto_modules)

# A module that the program opens on first use: quelto_module(NAME SOURCES a.cc ... LINK library ...)
function(quelto_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(quelto_${name} MODULE ${ARG_SOURCES})
  target_link_libraries(quelto_${name} PRIVATE quelto_options ${ARG_LINK})
  # What a module takes from our static libraries is its own copy, which must not stand in for the program's.
  target_link_options(quelto_${name} PRIVATE -Wl,--exclude-libs,ALL)
  set_target_properties(quelto_${name} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${QUELTO_PLUGINS}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  add_dependencies(quelto_modules quelto_${name})
  install(TARGETS quelto_${name} LIBRARY DESTINATION ${QUELTO_PLUGINS})
endfunction()

# Lets a program that is not installed find the bundle of the build tree as the tool itself does.
function(quelto_inside_bundle name)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${QUELTO_CONTENTS}/Tests)
  add_dependencies(${name} quelto_modules)
endfunction()

# All test programs, for a build that needs nothing else.
add_custom_target(quelto_unit_tests)

# A test program of one folder: quelto_test(NAME SOURCES a.cc ... LINK library ...)
function(quelto_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  quelto_inside_bundle(${name})
  if(QUELTO_FUZZ)
    # The fuzzers need instrumented libraries. Tests that are instrumented themselves are built with GCC.
    target_compile_options(${name} PRIVATE -O0 -fno-sanitize=all)
  endif()
  add_dependencies(quelto_unit_tests ${name})
  set(suppressions ${PROJECT_SOURCE_DIR}/tests/thread_sanitizer_suppressions.txt)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS unit TIMEOUT 120 ENVIRONMENT TSAN_OPTIONS=suppressions=${suppressions})
endfunction()
