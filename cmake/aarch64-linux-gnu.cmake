# Cross build for the camera: AArch64 Linux, little-endian, with Debian's cross
# compiler and the arm64 libraries of a multiarch system (dpkg arm64 packages).
# Target programs run on the build machine under qemu-user: ctest and the
# test discovery start them through CMAKE_CROSSCOMPILING_EMULATOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# Multiarch layout: libraries and package files under /usr/lib/aarch64-linux-gnu,
# headers shared in /usr/include. The build machine's own libraries live in
# another architecture directory and are never searched.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Loader and C library must come from one build. The arm64 packages bring
# their own (libc6:arm64 under /lib); the cross toolchain's sysroot copy is an
# older build, and that loader with the multiarch libc hangs at the first
# thread. The sysroot serves only where no arm64 C library is installed.
if(EXISTS /lib/ld-linux-aarch64.so.1)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /)
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
endif()

# pkg-config reads the arm64 package files only: it would otherwise answer with
# the build machine's own libraries (cpp-httplib; FindOpenSSL asks it first too),
# and the link would fail late with a wrong-format error.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
