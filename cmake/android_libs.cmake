# Debian's builds of the platform's own log and JNI-helper libraries, and the OpenMAX IL headers.
include_guard(GLOBAL)

find_library(ANDROID_LOG_LIBRARY log PATH_SUFFIXES android REQUIRED)
find_library(ANDROID_NATIVEHELPER_LIBRARY nativehelper PATH_SUFFIXES android REQUIRED)
get_filename_component(ANDROID_LIBRARY_DIR ${ANDROID_LOG_LIBRARY} DIRECTORY)

# A private library folder: its place has to go into every rpath.
list(APPEND CMAKE_BUILD_RPATH ${ANDROID_LIBRARY_DIR})

add_library(android_log INTERFACE)
target_include_directories(android_log SYSTEM INTERFACE /usr/include/android)
target_link_libraries(android_log INTERFACE ${ANDROID_LOG_LIBRARY})

# jni.h is nativehelper's; the JDK's must never meet it in one file.
add_library(android_nativehelper INTERFACE)
target_include_directories(android_nativehelper SYSTEM INTERFACE
  /usr/include/android/nativehelper /usr/include/android)
target_link_libraries(android_nativehelper INTERFACE ${ANDROID_NATIVEHELPER_LIBRARY})
