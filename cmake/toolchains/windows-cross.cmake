# Debian's MinGW-w64 (posix threads) with a Qt for Windows that scripts/windows.sh unpacks or makes. The Qt is
# named by MDC_WINDOWS_QT, of the cache or of the environment.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(NOT MDC_WINDOWS_QT)
    set(MDC_WINDOWS_QT "$ENV{MDC_WINDOWS_QT}" CACHE PATH "Qt for Windows: the folder that holds bin, lib and host")
endif()
if(NOT EXISTS "${MDC_WINDOWS_QT}/lib/cmake/Qt5/Qt5Config.cmake")
    message(FATAL_ERROR "MDC_WINDOWS_QT names \"${MDC_WINDOWS_QT}\", which holds no Qt 5 (lib/cmake/Qt5): "
        "run scripts/windows.sh, or give the folder that it has made")
endif()
# The checks of the compiler read this file too.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MDC_WINDOWS_QT)

# Libraries and headers of the target alone; programs of the machine that builds.
set(CMAKE_FIND_ROOT_PATH ${MDC_WINDOWS_QT} ${MDC_WINDOWS_QT}/headers /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The machine's folders are a drive there.
set(MDC_TARGET_ROOT "Z:")
find_program(MDC_WINE wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(MDC_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/run_wine.sh ${MDC_WINE})
endif()
