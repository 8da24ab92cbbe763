# Cross-builds for 64-bit Windows with Debian's mingw-w64 (g++-mingw-w64-x86-64-posix).
# The posix thread model is the one whose libstdc++ has std::mutex and std::thread.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QTSIFTER_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QTSIFTER_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QTSIFTER_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${QTSIFTER_MINGW_TRIPLE}-windres)

# Libraries and headers come from the target's root only; programs (cmake, ninja) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${QTSIFTER_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The runtime (libstdc++, libgcc, winpthread) and zlib are linked in, so that the programs run
# under wine or on a bare Windows without DLLs copied beside them.
set(ZLIB_USE_STATIC_LIBS ON)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# The header-only dependencies, from the build machine's headers (see the folder's HostHeaders.cmake).
foreach(package nlohmann_json CLI11 RapidJSON fmt)
    set(${package}_DIR "${CMAKE_CURRENT_LIST_DIR}/mingw-w64-host-headers")
endforeach()
