# Cross build for the routers: Debian's aarch64-linux-gnu cross compiler against the arm64
# multiarch -dev packages (scripts/install-deps --aarch64 installs both). Test programs run
# under qemu-user, so CTest and gtest discovery work as on the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(PKG_CONFIG_EXECUTABLE aarch64-linux-gnu-pkg-config CACHE FILEPATH "pkg-config for arm64")

# Multiarch keeps arm64 libraries beside the host's under /usr, so the root stays /usr and the
# architecture directory picks the right ones.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /usr)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

find_program(ORVAMESH_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
if(ORVAMESH_QEMU_AARCH64)
  # No -L: the loader and libc come from the arm64 multiarch packages, which match the
  # libraries we link; the cross-toolchain copy under /usr/aarch64-linux-gnu can differ.
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ORVAMESH_QEMU_AARCH64})
endif()
