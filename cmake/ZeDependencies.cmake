# Platform libraries: the Android log and zlib.
# On Android both come with the NDK. On Linux hosts the log comes from Debian's
# build of the Android logging library, which keeps its header and its shared
# object in folders named "android" of their own. A host without that library
# (macOS, Fedora, ...) builds too: the library then writes the same lines to
# standard error.
find_package(Threads REQUIRED)
if(ANDROID)
  find_library(ZE_LOG_LIBRARY log REQUIRED)
  set(ZE_LOG_INCLUDE_DIR "")
  set(ZE_HAVE_ANDROID_LOG ON)
  set(ZE_PLATFORM_LIBS ${ZE_LOG_LIBRARY} z Threads::Threads)
else()
  find_path(ZE_LOG_INCLUDE_DIR android/log.h PATHS /usr/include/android NO_DEFAULT_PATH)
  find_library(ZE_LOG_LIBRARY NAMES log PATH_SUFFIXES android)
  find_package(ZLIB REQUIRED)
  set(ZE_PLATFORM_LIBS ZLIB::ZLIB Threads::Threads)
  if(ZE_LOG_INCLUDE_DIR AND ZE_LOG_LIBRARY)
    set(ZE_HAVE_ANDROID_LOG ON)
    list(PREPEND ZE_PLATFORM_LIBS ${ZE_LOG_LIBRARY})
  else()
    set(ZE_HAVE_ANDROID_LOG OFF)
    set(ZE_LOG_INCLUDE_DIR "")
    message(STATUS "android/log.h not found: messages go to standard error")
  endif()
endif()
