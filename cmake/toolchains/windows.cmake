# Windows by Debian's g++-mingw-w64 with posix threads; the C++ runtime is linked in. Included by a file that sets
# `windows_target`, the prefix of the compiler's name.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_CXX_COMPILER ${windows_target}-g++-posix)
set(CMAKE_RC_COMPILER ${windows_target}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${windows_target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Windows 7 and later: WSAPoll, and file and socket calls with 64-bit results.
add_compile_definitions(_WIN32_WINNT=0x0601)
add_link_options(-static)
