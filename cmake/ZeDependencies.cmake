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
  # The library does not link it: it finds it when it is loaded (see
  # core/log/ZeLogSinks.cpp), so that the installed library needs no run path
  # into the folder Debian keeps it in.
  set(ZE_HAVE_ANDROID_LOG OFF)
  set(ZE_LOG_INCLUDE_DIR "")
  list(APPEND ZE_PLATFORM_LIBS ${CMAKE_DL_LIBS})
  if(ZE_LOG_LIBRARY)
    get_filename_component(ZE_LOG_LIBRARY_PATH ${ZE_LOG_LIBRARY} REALPATH)
  else()
    message(STATUS "Android's logging library not found: messages go to standard error")
  endif()
endif()
