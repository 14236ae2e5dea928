# Cross build for 64-bit Windows with Debian's MinGW-w64 (POSIX thread model, so that std::thread
# and std::mutex exist). The result runs on Windows and under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triple x86_64-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${triple}-gcc-posix ${triple}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${triple}-g++-posix ${triple}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${triple}-windres REQUIRED)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Tests run under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
