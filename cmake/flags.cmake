# Compiler settings that every target of this project shares.
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_C_FLAGS_RELEASE "-O2")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Release or Debug" FORCE)
endif()

add_library(kor_settings INTERFACE)
# -iquote, not -I: the public error.h must not hide the C library's own.
# No fused multiply-add: stored figures are the same bits on every machine.
target_compile_options(kor_settings INTERFACE
  "SHELL:-iquote ${PROJECT_SOURCE_DIR}/include"
  "SHELL:-iquote ${PROJECT_SOURCE_DIR}/src"
  -ffp-contract=off
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
target_compile_definitions(kor_settings INTERFACE _FILE_OFFSET_BITS=64)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  # Notes about a call convention that changed in GCC 7.1; nothing to act on.
  target_compile_options(kor_settings INTERFACE -Wno-psabi)
endif()

if(KOR_SANITIZE)
  set(kor_instrument -fsanitize=address,undefined,float-cast-overflow
      -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(KOR_COVERAGE)
  set(kor_instrument --coverage -fprofile-abs-path)
  target_compile_definitions(kor_settings INTERFACE KOR_COVERAGE)
elseif(KOR_FUZZ)
  set(kor_instrument -fsanitize=address,undefined,fuzzer-no-link
      -fno-sanitize-recover=all -g)
  target_compile_definitions(kor_settings INTERFACE KOR_FUZZING)
endif()
if(kor_instrument)
  target_compile_options(kor_settings INTERFACE ${kor_instrument})
  target_link_options(kor_settings INTERFACE ${kor_instrument})
endif()
