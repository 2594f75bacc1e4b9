# Cross building for 32-bit ARM with hard float: the machine this is made for.
set(KOR_CROSS_TRIPLE arm-linux-gnueabihf)
set(KOR_CROSS_QEMU qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
