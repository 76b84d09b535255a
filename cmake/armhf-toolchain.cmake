# Cross build for 32-bit ARM (armhf) against a Debian sysroot.
# DMS_ARMHF_SYSROOT: the sysroot folder (scripts/cross-armhf.sh makes one).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triple arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)

if(NOT DMS_ARMHF_SYSROOT)
  set(DMS_ARMHF_SYSROOT $ENV{DMS_ARMHF_SYSROOT})
endif()
if(NOT DMS_ARMHF_SYSROOT OR NOT EXISTS "${DMS_ARMHF_SYSROOT}/usr/lib/${triple}")
  message(FATAL_ERROR "armhf: set DMS_ARMHF_SYSROOT to an armhf sysroot (scripts/cross-armhf.sh)")
endif()
set(CMAKE_SYSROOT ${DMS_ARMHF_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${DMS_ARMHF_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Try-compile and the tests pass the sysroot on to their children.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DMS_ARMHF_SYSROOT)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${DMS_ARMHF_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    "${DMS_ARMHF_SYSROOT}/usr/lib/${triple}/pkgconfig:${DMS_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# Tests and test discovery run under user-mode emulation.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L ${DMS_ARMHF_SYSROOT})
