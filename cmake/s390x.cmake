# Cross building for s390x: big-endian, so that byte order is tested.
set(KOR_CROSS_TRIPLE s390x-linux-gnu)
set(KOR_CROSS_QEMU qemu-s390x)
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
