set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(windows_target x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
