# Platform libraries: the Android log and zlib.
# On Android both come with the NDK. On Linux hosts the log comes from Debian's
# build of the Android logging library, which keeps its header and its shared
# object in folders named "android" of their own.
find_package(Threads REQUIRED)
if(ANDROID)
  find_library(ZE_LOG_LIBRARY log REQUIRED)
  set(ZE_LOG_INCLUDE_DIR "")
  set(ZE_PLATFORM_LIBS ${ZE_LOG_LIBRARY} z Threads::Threads)
else()
  find_path(ZE_LOG_INCLUDE_DIR android/log.h PATHS /usr/include/android REQUIRED NO_DEFAULT_PATH)
  find_library(ZE_LOG_LIBRARY NAMES log PATH_SUFFIXES android REQUIRED)
  find_package(ZLIB REQUIRED)
  set(ZE_PLATFORM_LIBS ${ZE_LOG_LIBRARY} ZLIB::ZLIB Threads::Threads)
endif()
