# Compiler settings and the three kinds of targets that the project is made of.
include_guard(GLOBAL)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# All libraries and programs side by side, so that they find each other through $ORIGIN.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_BUILD_RPATH "$ORIGIN;$ORIGIN/../lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# As the device's platform is built: no exceptions, no RTTI. vptr checks need RTTI.
add_library(zem_flags INTERFACE)
target_compile_options(zem_flags INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
  -Wformat=2 -Wundef
  -fno-exceptions -fno-rtti)

set(ZEM_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
if(ZEM_SANITIZE)
  add_compile_options(-fsanitize=${ZEM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${ZEM_SANITIZE})
  if(ZEM_SANITIZE MATCHES undefined)
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()

# For sources that are compiled once for each instruction set, or (ZEM_SIMD 0) without such.
add_library(zem_vectors INTERFACE)
if(ZEM_SIMD)
  find_library(HWY_LIBRARY hwy REQUIRED)
  find_path(HWY_INCLUDE_DIR hwy/highway.h REQUIRED)
  target_include_directories(zem_vectors SYSTEM INTERFACE ${HWY_INCLUDE_DIR})
  target_link_libraries(zem_vectors INTERFACE ${HWY_LIBRARY})
  target_compile_definitions(zem_vectors INTERFACE ZEM_SIMD=1 HWY_WANT_AVX3_DL=1)
else()
  target_compile_definitions(zem_vectors INTERFACE ZEM_SIMD=0)
endif()

# zem_room(NAME SOURCES ... [DEPENDS ...]): one room of the engine, target zem_NAME. Headers are
# included as "room/file.h" from the project's root.
function(zem_room name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(zem_${name} STATIC ${ARG_SOURCES})
  target_include_directories(zem_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(zem_${name} PUBLIC ${ARG_DEPENDS} PRIVATE zem_flags)
endfunction()

# zem_test(NAME SOURCES ... LINKS ... [TIMEOUT s] [LABELS ...]): one GoogleTest program, its cases
# known to ctest one by one. LINKS names only the rooms under test: that the rooms stand alone is
# part of what the tests prove.
function(zem_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS} zem_flags GTest::gmock GTest::gtest_main Threads::Threads)
  set(properties TIMEOUT ${ARG_TIMEOUT})
  if(ARG_LABELS)
    list(APPEND properties LABELS "${ARG_LABELS}")
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()
