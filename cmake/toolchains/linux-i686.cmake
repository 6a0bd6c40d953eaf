# 32-bit Linux by Debian's g++-multilib, on a 64-bit machine that runs what it builds.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_CXX_FLAGS_INIT -m32)
