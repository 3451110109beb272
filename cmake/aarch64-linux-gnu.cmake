# Cross-builds for a 64-bit Arm board with Debian's compiler, against Debian's arm64 packages, which
# packaging/cross_build.sh unpacks into a root of their own. What is built runs here under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(KAVREL_ARM64_ROOT "${CMAKE_CURRENT_LIST_DIR}/../build-arm64-root" CACHE PATH
  "Folder into which Debian's arm64 packages were unpacked")
get_filename_component(CMAKE_SYSROOT "${KAVREL_ARM64_ROOT}" ABSOLUTE)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KAVREL_ARM64_ROOT)
if(NOT EXISTS "${CMAKE_SYSROOT}/usr/include/opencv4")
  message(FATAL_ERROR "There are no arm64 packages in ${CMAKE_SYSROOT}, run packaging/cross_build.sh")
endif()

# OpenCV's headers leave their names in what is compiled with them; the root's place is no part of
# these, or the same sources would not always give the same bytes.
set(CMAKE_CXX_FLAGS_INIT "-ffile-prefix-map=${CMAKE_SYSROOT}=")

# Programs of this machine, everything else of the board's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(QEMU_AARCH64 NAMES qemu-aarch64-static qemu-aarch64
  DOC "Runs the tests of a cross-build here")
if(QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${QEMU_AARCH64}" -L "${CMAKE_SYSROOT}")
endif()
