# Debian's builds of the Android platform libraries (android-liblog-dev, android-libutils-dev).
# Their headers live under /usr/include/android and their libraries in a private directory.
set(PLIM_ANDROID_LIBDIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)

find_library(PLIM_ANDROID_LOG log PATHS ${PLIM_ANDROID_LIBDIR} NO_DEFAULT_PATH REQUIRED)
add_library(android::log SHARED IMPORTED)
set_target_properties(android::log PROPERTIES
    IMPORTED_LOCATION ${PLIM_ANDROID_LOG}
    INTERFACE_INCLUDE_DIRECTORIES /usr/include/android
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES /usr/include/android)

find_library(PLIM_ANDROID_UTILS utils PATHS ${PLIM_ANDROID_LIBDIR} NO_DEFAULT_PATH)
if(PLIM_ANDROID_UTILS)
    add_library(android::utils SHARED IMPORTED)
    set_target_properties(android::utils PROPERTIES
        IMPORTED_LOCATION ${PLIM_ANDROID_UTILS}
        INTERFACE_INCLUDE_DIRECTORIES /usr/include/android
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES /usr/include/android)
endif()

# The libraries are outside the loader's default path.
set(CMAKE_BUILD_RPATH ${PLIM_ANDROID_LIBDIR})
