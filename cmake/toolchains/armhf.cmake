# The box itself: 32-bit ARM, hard-float.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(debian_architecture armhf)
set(debian_triplet arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static)

# Everything is built by one compiler, so what older ones passed otherwise need not be told.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
